#!/usr/bin/env bash
# Installs a build into an empty folder, builds the example operator and functor against
# that tree alone, loads them there and runs them: run.sh SOURCE BUILD SCRATCH
set -euo pipefail
source=$1 build=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch"
cmake --install "$build" --prefix "$scratch/tree" >"$scratch/install.log"
cmake -S "$source/examples/external" -B "$scratch/external" -DCMAKE_PREFIX_PATH="$scratch/tree" \
    -DCMAKE_C_FLAGS="${VOKRA_TEST_CFLAGS:-}" >"$scratch/configure.log"
cmake --build "$scratch/external" >"$scratch/build.log"
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$scratch/tree" -name vokra.pc)")
libdir=$(dirname "$PKG_CONFIG_PATH")
${CC:-cc} ${VOKRA_TEST_CFLAGS:-} -std=c11 -Wall -Wextra -Werror "$source/tests/install/run_external.c" \
    $(pkg-config --cflags vokra) -Wl,--no-as-needed -L"$libdir" -lzan -l:VokraAPI.so \
    -Wl,-rpath,"$libdir" -o "$scratch/run_external"
"$scratch/run_external" "$scratch/external/vok.posterize.so" "$scratch/external/vok.functor.tent.so"
