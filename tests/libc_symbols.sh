#!/bin/sh
# libc_symbols.sh CLIENT: does the client call only what Android's C library has too? Before a name is added here, it
# has to be looked up there. Checked twins (__printf_chk, __open_2) count as the function itself.
known=' abort close fcntl fwrite getpid gettimeofday memchr memcmp memcpy memmove memset open printf pthread_mutex_lock
 pthread_mutex_unlock puts remove signal sleep stderr strlen strtol write '
# What only the code calls that the GNU compiler adds.
known="$known __cxa_atexit __cxa_finalize __errno_location __getauxval __libc_start_main __stack_chk_fail __stack_chk_guard"
used=$(nm -D --undefined-only "$1" | sed -nE 's/^ +U (.*)@GLIBC_.*/\1/p' | sed -E 's/^__(.*)_(chk|2)$/\1/; s/^__isoc23_//')
[ -n "$used" ] || { echo "$1: expected functions of the C library, found none" >&2; exit 1; }
unknown=$(for name in $used; do echo "$known" | grep -qw -- "$name" || echo "$name"; done)
[ -z "$unknown" ] || { echo "$1 calls what Android's C library is not known to have: $(echo "$unknown" | tr "\n" " ")" >&2; exit 1; }
