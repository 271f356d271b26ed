# Sourced by the tests in shell: NAME_test.sh CMAKE SOURCE BUILD [ARGUMENT]... They work in a folder of
# their own.
set -eu
cmake=$1 source=$2 build=$3
shift 3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
# quietly COMMAND...: shows what it says only when it fails.
quietly() { "$@" >log 2>&1 || { cat log; exit 1; }; }
