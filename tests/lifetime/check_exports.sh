#!/bin/sh
# Only the Quarn namespace leaves the shared library: every exported code or data symbol must be ours
# (sanitizer builds add their own bookkeeping symbols, which are ignored).
lib="$1"
leaked=$(nm -D --defined-only -C "$lib" | awk '$2 ~ /^[TtWDdBbVuRr]$/ { $1 = ""; $2 = ""; print }' \
    | sed 's/^ *//' | grep -v -E '^(_init|_fini|_edata|_end|__bss_start)$' \
    | grep -v -E '^__(odr_asan|asan|ubsan|sanitizer)' \
    | grep -v -E '(^|[ (<*&:])Quarn::' | grep -v -E '^(typeinfo|vtable|VTT)( name)? for Quarn::')
if [ -n "$leaked" ]; then
    echo "symbols exported outside namespace Quarn:"
    echo "$leaked"
    exit 1
fi
echo "exports ok"
