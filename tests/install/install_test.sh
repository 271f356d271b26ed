#!/bin/sh
# Installs into the home of a gateway, and takes out again what that has put there; the arguments are
# the compiler and its flags.
. "${0%/*}/scratch.sh"
export ZEVA_HOME="$scratch/home" PKG_CONFIG_PATH="$scratch/home/lib/pkgconfig"
for file in bin/rc4 bin/regserver bin/migration/RegSvrCfg.ini bin/migration/S99Reg config/cFlt_db.xml \
    config/factory.xml include/nvreg.h lib/libnvpol.so lib/libnvreg.so lib/libnvreg.so.1; do
    echo "the gateway's" | install -D -m 700 /dev/stdin "home/$file"
done
install -d -m 750 home/xhtml/en/download
# What an install could change about a file, and about the folder of the web console.
facts() {
    find home -type f -printf '%p %i %m %T@\n' -exec sha256sum {} + -o -path '*/xhtml/*' -printf '%p %m\n' | sort
}
facts >before

# The tool for this gateway, of programs that are built already.
quietly "$cmake" -S "$source" --preset release -B tool -DZEVA_GATEWAY_LIBDIR="$PWD/home/lib" \
    -DZEVA_TESTS=OFF -DCMAKE_SKIP_RPATH=ON
(cd "$build" && cp --parents driver/zeva-migrate tools/*/*zeva* catalogue/*/*.res "$scratch/tool")
quietly "$cmake" --install tool --prefix home
quietly home/bin/zeva-pack --help
quietly "$cmake" --build tool --target uninstall
facts | diff before -

# The bundled gateway does not take its place unasked.
if "$cmake" --install "$build" --prefix home >log 2>&1; then exit 1; fi
facts | diff before -
rm home/bin/regserver
mkdir -p pages home/share
ln -s ../../pages home/share/man
for part in gateway tool; do quietly "$cmake" --install "$build" --prefix home --component $part; done
cmp home/config/factory.xml.new "$source/platform/service/factory.xml"
echo '#include <nvpol.h>
int main() { int32_t status = 0; return nvpol_openRuleHive(nullptr, 0, &status) != nullptr; }' >client.cpp
quietly "$@" client.cpp -o client $(pkg-config --cflags --libs libnvpol)
./client
# It is not taken out while it runs or may run, nor is anything outside of the home, and what somebody
# has changed stays.
refuses() { if "$cmake" --build "$build" --target uninstall >log 2>&1; then exit 1; fi; }
for status in 0 4; do
    echo "exit $status" >home/bin/migration/S99Reg
    refuses
done
echo 'exit 3' >home/bin/migration/S99Reg
record=home/share/zeva-migrate/installed.sha256
sha256sum before | sed 's|  | *../|' >>$record
refuses
sed -i '$d' $record
{ grep -e RegSvrCfg -e config -e xhtml before && facts | grep migration/S99Reg; } | sort >after
quietly "$cmake" --build "$build" --target uninstall
facts | diff after -
[ -z "$(find pages -type f)" ]
