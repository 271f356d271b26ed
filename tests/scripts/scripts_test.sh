#!/bin/sh
# ./check and ./rehearse as somebody at a terminal sees them. They run in a copy whose cmake installs what
# this build has and builds nothing.
. "${0%/*}/../install/scratch.sh"
set +e
cp -r "$source/check" "$source/rehearse" "$source/scripts" .
mkdir bin
cat >bin/cmake <<END
#!/bin/sh
[ "\$1" = --install ] || { echo "cmake \$*"; exit \${BUILD_STATUS-0}; }
exec "$cmake" --install "$build" --prefix "\$4"
END
printf '#!/bin/sh\necho "ctest $*"\nexit ${TEST_STATUS-0}\n' >bin/ctest
chmod +x bin/*
echo "no package" >package
# The rehearsal preloads a library, which a sanitizer's build would not have in front of its own.
export ASAN_OPTIONS=verify_asan_link_order=0

failed=0
# expect STATUS WORDS COMMAND...: it exits so, and says that.
expect() {
    status=$1 words=$2
    shift 2
    said=$(PATH="$scratch/bin:$PATH" env "$@" 2>&1)
    got=$?
    case $said in *"$words"*) [ $got -eq "$status" ] && return ;; esac
    printf '%s: %s, and not %s with "%s":\n%s\n' "$*" $got "$status" "$words" "$said"
    failed=1
}
expect 0 "./check [PRESET | lint | browser]..." ./check --help
expect 2 "no preset nonsense" ./check release nonsense
expect 0 "ctest --preset release" ./check
expect 0 "ctest --preset debug" ./check release debug
expect 1 "cmake -DZEVA_WERROR=ON --preset release" BUILD_STATUS=1 ./check
expect 8 "ctest --preset asan" TEST_STATUS=8 ./check asan release
expect 0 "./rehearse [EXPORT_FOLDER | PACKAGE]" ./rehearse --help
expect 2 "usage: ./rehearse" ./rehearse one two
expect 2 "missing" ./rehearse missing
expect 1 "cmake -DZEVA_WERROR=ON --preset release" BUILD_STATUS=1 ./rehearse package
expect 251 "(-5)" ./rehearse package
exit $failed
