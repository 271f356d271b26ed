#!/bin/sh
# Takes out of a home what `cmake --install` has put there: uninstall.sh HOME; ZEVA_HOME, when it is
# set, counts instead. What has been edited or replaced since then stays, and so does the store.
set -eu
home=${ZEVA_HOME-$1}
record=share/zeva-migrate/installed.sha256
refuse() {
    echo "$home: $1" >&2
    exit 1
}
cd "$home/"
[ -f $record ] || refuse "nothing has been installed here; name another home in ZEVA_HOME"

# All are looked at before the first goes: a library's links are as good as the library.
looked_at=$(LC_ALL=C sha256sum --check $record 2>/dev/null) || :
if echo "$looked_at" | grep -Eq '^(/|(.*/)?\.\.(/|:))'; then
    refuse "$record names files outside of the home; nothing is removed"
fi
if echo "$looked_at" | grep -qx 'bin/regserver: OK'; then
    status=0
    said=$(ZEVA_HOME=$PWD bin/migration/S99Reg status 2>&1) || status=$?
    # Where nobody can tell whether it runs, it may.
    [ $status -eq 3 ] || refuse "${said:-the registry server may run}; first bin/migration/S99Reg stop"
fi
for file in $(echo "$looked_at" | sed -n 's/: OK$//p') $record; do
    rm -- "$file"
    echo "Removed: $home/$file"
    # A folder that is a link, or that somebody else owns, stays.
    rmdir -p --ignore-fail-on-non-empty -- "${file%/*}" 2>/dev/null || :
done
echo "$looked_at" | sed -n 's/: FAILED$//p' | while IFS= read -r file; do
    echo "Kept: $home/$file, which has changed"
done
