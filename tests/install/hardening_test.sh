#!/bin/sh
# Every program and library of a home has the guards of cmake/hardening.cmake, which are the arguments.
. "${0%/*}/scratch.sh"
quietly "$cmake" --install "$build" --prefix home
lacks() { echo "$file lacks $1" | tee -a lacking; }
needs() { grep -Eq "$2" facts || lacks "$1"; }

files=0
for file in $(find home -type f); do
    readelf -hldW --dyn-syms "$file" >facts 2>/dev/null || continue
    objdump -d --no-show-raw-insn "$file" >>facts
    files=$((files + 1))
    for guard in "$@"; do
        case $guard in
        linked)
            needs PIE '^ +Type: +DYN'
            needs RELRO '^ +GNU_RELRO '
            needs BIND_NOW '\(FLAGS\) +BIND_NOW'
            ;;
        stack)
            needs "a stack protector" ' UND __stack_chk_fail'
            # A frame of more than a page is entered page by page.
            ! grep -E 'sub +\$0x[0-9a-f]{4,7},%[er]sp' facts | grep -qv '\$0x1000,' ||
                lacks "stack-clash protection"
            ;;
        # The compiler's own start code has two.
        control-flow) [ "$(grep -c '\sendbr' facts)" -gt 2 ] || lacks "control-flow protection" ;;
        sizes)
            case $file in
            */lib/* | */zeva-pack) ;;  # not every compiler leaves them a call to check
            *) needs "checks of sizes" ' UND __[a-z0-9]+_chk@' ;;
            esac
            ;;
        esac
    done
done
echo "$files programs and libraries"
[ $files -ge 9 ] && [ ! -e lacking ]
