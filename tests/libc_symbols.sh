#!/bin/sh
# libc_symbols.sh BINARY…: do the binaries, which run on phones, call only what Android's C library has too? Before a
# name is added here, it has to be looked up there. Checked twins (__printf_chk, __open_2) count as the function itself.
known=' abort clock_gettime close dladdr dlerror dlopen dlsym fchmod fcntl flock fstat ftruncate fwrite getenv getpid gettimeofday lseek
 memchr memcmp memcpy memmove memset open printf pthread_mutex_lock pthread_mutex_unlock pthread_sigmask puts remove
 sigaddset sigemptyset sigfillset signal sigtimedwait sleep stderr strcmp strerror strlen strtol write writev '
# What only the code calls that the GNU compiler adds, and its C++ library's headers.
known="$known __cxa_atexit __cxa_finalize __errno_location __getauxval __libc_single_threaded __libc_start_main __stack_chk_fail
 __stack_chk_guard"
for binary in "$@"; do
  used=$(nm -D --undefined-only "$binary" | sed -nE 's/^ +U (.*)@GLIBC_.*/\1/p' | sed -E 's/^__(.*)_(chk|2)$/\1/; s/^__isoc23_//')
  [ -n "$used" ] || { echo "$binary: expected functions of the C library, found none" >&2; exit 1; }
  unknown=$(for name in $used; do echo "$known" | grep -qw -- "$name" || echo "$name"; done)
  [ -z "$unknown" ] || { echo "$binary calls what Android's C library is not known to have: $(echo "$unknown" | tr "\n" " ")" >&2; exit 1; }
done
