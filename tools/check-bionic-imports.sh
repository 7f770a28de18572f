#!/usr/bin/env bash
# Checks that an arm64 Linux build of the driver calls only C library and
# loader functions that Android's Bionic has at the lowest API level the
# android preset targets (24). The cross build links glibc, so its glibc-only
# start-up and alias names are mapped or passed over; C++ runtime symbols are
# left to the NDK's libc++.
#
# usage: tools/check-bionic-imports.sh BINARY [NM]
# A new import fails the check: confirm that Bionic has it at API 24, then add
# it to the list below.
set -euo pipefail
binary=$1
nm=${2:-aarch64-linux-gnu-nm}

allowed=" $(tr '\n' ' ' <<'EOF_LIST'
abort access atof atoi atol atoll calloc close closedir dlclose dlerror dlopen dlsym
errno exit fclose feof ferror fflush fgets fileno fopen fprintf fputc fputs fread
free fseek fstat ftell fwrite getcwd getenv isatty lseek lstat malloc memchr memcmp
memcpy memmove memset mkdir open opendir printf putchar puts read readdir realloc
setvbuf snprintf sprintf sscanf stat stderr stdin stdout strchr strcmp strcpy
strdup strerror strlcat strlcpy strlen strncmp strncpy strnlen strrchr strstr
strtod strtof strtol strtoll strtoul strtoull unlink vsnprintf write
EOF_LIST
) "

status=0
while read -r symbol; do
    name=${symbol%%@*}
    case "$name" in
        # C++ runtime, which the NDK's libc++ provides in its own way.
        _Z* | __cxa_* | __gxx_personality_v0 | _Unwind_* | __dynamic_cast | __libc_single_threaded) continue ;;
        # Start-up code of glibc and libgcc; Bionic and the NDK have their own.
        __libc_start_main | __gmon_start__ | _ITM_* | __stack_chk_fail | __getauxval) continue ;;
        __errno_location) name=errno ;;
        __isoc99_* | __isoc23_*) name=${name#__isoc*_} ;;
    esac
    if [[ "$allowed" != *" $name "* ]]; then
        echo "$binary imports $name: not in the list of functions known to be in Bionic (API 24)" >&2
        status=1
    fi
done < <("$nm" -D --undefined-only "$binary" | awk '{print $NF}')
[ "$status" -eq 0 ] && echo "$binary: every C library import is in Bionic (API 24)"
exit "$status"
