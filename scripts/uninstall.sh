#!/bin/sh
# Takes out of a home what `cmake --install` has put there: uninstall.sh HOME; ZEVA_HOME, when it is
# set, counts instead. What has been edited or replaced since then stays, and so does the store.
set -eu
home=${ZEVA_HOME-$1}
record=share/zeva-migrate/installed.sha256
cd "$home/"
[ -f $record ] || {
    echo "$home: nothing has been installed here; name another home in ZEVA_HOME" >&2
    exit 1
}
if grep -q '  bin/regserver$' $record && ZEVA_HOME=$PWD bin/migration/S99Reg status >/dev/null; then
    echo "$home: the registry server runs: bin/migration/S99Reg stop" >&2
    exit 1
fi

# All are looked at before the first goes: a library's links are as good as the library.
looked_at=$(LC_ALL=C sha256sum --check $record 2>/dev/null) || :
for file in $(echo "$looked_at" | sed -n 's/: OK$//p') $record; do
    rm -- "$file"
    echo "Removed: $home/$file"
    rmdir -p --ignore-fail-on-non-empty -- "${file%/*}"
done
echo "$looked_at" | sed -n "s|\(.*\): FAILED\$|Kept: $home/\1, which has changed|p"
