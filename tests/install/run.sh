#!/usr/bin/env bash
# Installs a build into an empty folder, builds the examples of modules and of an embedding
# program against that tree alone and runs them there: run.sh SOURCE BUILD SCRATCH
set -euo pipefail
source=$1 build=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch"
cmake --install "$build" --prefix "$scratch/tree" >"$scratch/install.log"
cmake -S "$source/examples/external" -B "$scratch/external" -DCMAKE_PREFIX_PATH="$scratch/tree" \
    -DCMAKE_C_FLAGS="${VOKRA_TEST_CFLAGS:-}" -DCMAKE_CXX_FLAGS="${VOKRA_TEST_CFLAGS:-}" >"$scratch/configure.log"
cmake --build "$scratch/external" >"$scratch/build.log"
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$scratch/tree" -name vokra.pc)")
libdir=$(dirname "$PKG_CONFIG_PATH")
${CC:-cc} ${VOKRA_TEST_CFLAGS:-} -std=c11 -Wall -Wextra -Werror "$source/tests/install/run_external.c" \
    $(pkg-config --cflags vokra) -Wl,--no-as-needed -L"$libdir" -lzan -l:VokraAPI.so \
    -Wl,-rpath,"$libdir" -o "$scratch/run_external"
"$scratch/run_external" "$scratch/external/vok.posterize.so" "$scratch/external/vok.functor.tent.so"

# each is found where README says: an operator and a control box by their names, a functor in a pack
cat >"$scratch/try.patch" <<'EOF'
patch 1;
box from vok.matrix 1 char 2 2;
box few vok.posterize @levels 2;
box to vok.matrix posterized 1 char 2 2;
box look lookout posterized @interval 10;
box seen vok.matrix 1 char 3 3;
box cell message getcell 1 1;
box heard print heard;
cord from 0 few 0;
cord few 0 to 0;
cord look 0 seen 0;
cord cell 0 seen 0;
cord seen 1 heard 0;
from setall 200;
from bang;
look bang;
cell bang;
EOF
export VOKRA_PATH=$scratch/external
vokra=$scratch/tree/bin/vokra
heard=$("$vokra" run --clock virtual --for 15ms "$scratch/try.patch")
[ "$heard" = "heard: cell 255" ] || { echo "the example boxes gave: $heard" >&2; exit 1; }
"$vokra" help vok_posterize | grep -q levels
echo 'patch 1; box x vok.functor.tent;' >"$scratch/tent.patch"
[[ $("$vokra" check "$scratch/tent.patch") == *"makes no class for a box vok.functor.tent"* ]]
mkdir "$scratch/external/packs"
mv "$scratch/external/vok.functor.tent.so" "$scratch/external/packs"
"$vokra" noise transfer.tent --set period=3 -o "$scratch/tent.png"

# the program that embeds, and the one that README shows
[ "$("$scratch/external/embed" | tr -d '\n')" = "25 25 25 25 25 25 " ]
sed -n '/^```c$/,/^```$/{/^```/!p}' "$source/README.md" >"$scratch/readme.c"
${CC:-cc} ${VOKRA_TEST_CFLAGS:-} "$scratch/readme.c" $(pkg-config --cflags --libs vokra) -Wl,-rpath,"$libdir" \
    -o "$scratch/readme"
"$scratch/readme"
