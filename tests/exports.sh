#!/usr/bin/env bash
# Both libraries export what their public headers declare and nothing else, and the
# library takes nothing of the host but what include/zan declares (its embedding part
# aside) and names no provider: exports.sh SOURCE LIBZAN VOKRAAPI
set -uo pipefail
source=$1 zan=$2 vokra=$3
failed=0

# The names that the headers of a folder declare for export. The compiler reads them,
# so that names made by macros count like any other.
declared_names() { # FOLDER BUILD-WORD
    for header in "$source/include/$1"/*.h; do printf '#include <%s/%s>\n' "$1" "$(basename "$header")"; done |
        ${CC:-cc} -E -P -x c -std=c11 -D"$2" -I"$source/include" - | tr '\n' ' ' |
        sed 's/__attribute__((visibility("default")))/\n@@/g' | grep '^@@' | sed 's/;.*//' |
        sed -E 's/__attribute__.*//; s/\[[^]]*\]//g; s/^@@ *(extern )?//' |
        sed -E 's/\(\*([A-Za-z_0-9]+).*/ \1/; s/\(.*//' |
        tr ',' '\n' | grep -oE '[A-Za-z_][A-Za-z_0-9]* *$' | tr -d ' ' | sort -u
}
exported() { nm -D --defined-only "$1" | awk '{print $3}' | sed 's/@.*//' | grep -vE '^(__|_init$|_fini$|_edata|_end|__bss_start|.*asan|.*ubsan)' | sort -u; }
undefined() { nm -D --undefined-only "$1" | awk '{print $2}' | sed 's/@.*//' | sort -u; }
differ() { # TITLE, lines on standard input
    local lines
    lines=$(cat)
    [ -z "$lines" ] && return
    printf '%s\n%s\n' "$1" "$lines" >&2
    failed=1
}

zan_names=$(declared_names zan ZAN_BUILD | grep -vx zan_module_record)
vokra_names=$(declared_names vokra VOKRA_BUILD)
[ "$(wc -l <<<"$zan_names")" -gt 200 ] && [ "$(wc -l <<<"$vokra_names")" -gt 400 ] ||
    { echo "the headers weren't read: $(wc -l <<<"$zan_names") and $(wc -l <<<"$vokra_names") names" >&2; exit 1; }
comm -23 <(echo "$zan_names") <(exported "$zan") | differ "declared in include/zan, not exported:"
comm -13 <(echo "$zan_names") <(exported "$zan") | differ "exported by libzan.so, not declared:"
comm -23 <(echo "$vokra_names") <(exported "$vokra") | differ "declared in include/vokra, not exported:"
comm -13 <(echo "$vokra_names") <(exported "$vokra") | differ "exported by VokraAPI.so, not declared:"
readelf -d "$vokra" | grep NEEDED | grep zan | differ "VokraAPI.so names a provider of the host:"
host_only=$(sed -n 's/.*ZAN_EXPORT[^(]*[ *]\([a-z_]*\)(.*/\1/p' "$source/include/zan/host.h" | sort -u)
comm -12 <(undefined "$vokra") <(echo "$host_only") | differ "VokraAPI.so uses the host's embedding functions:"
[ "$failed" = 0 ] && echo "exports: they match ($(wc -l <<<"$zan_names") and $(wc -l <<<"$vokra_names") names)"
exit "$failed"
