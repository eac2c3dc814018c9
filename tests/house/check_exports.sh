#!/usr/bin/env bash
# The shared library exports VornSyncManager and nothing else.
#
# usage: check_exports.sh LIBRARY
set -euo pipefail

library=$1
# Members, virtual table, type information and thunks of exactly this class; 15 is the length of its name.
allowed='^_Z(N|NK|TV|TI|TS|Thn[0-9]+_NK?)15VornSyncManager'

symbols=$(nm -D --defined-only "$library" | awk '{ print $NF }')
strangers=$(grep -Ev "$allowed" <<<"$symbols" || true)
if [ -n "$strangers" ]; then
    printf 'FAIL: exported besides VornSyncManager:\n%s\n' "$(c++filt <<<"$strangers")"
    exit 1
fi
names=$(c++filt <<<"$symbols")
# What a host can't link without.
for wanted in VornSyncManager::staticMetaObject 'VornSyncManager::VornSyncManager(' 'VornSyncManager::~VornSyncManager(' \
    'vtable for VornSyncManager' 'typeinfo for VornSyncManager' 'VornSyncManager::syncCompleted('; do
    if ! grep -qF "$wanted" <<<"$names"; then
        printf 'FAIL: not exported: %s\n' "$wanted"
        exit 1
    fi
done
printf 'PASS: %s symbols, all of VornSyncManager\n' "$(wc -l <<<"$symbols")"
