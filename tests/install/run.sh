#!/usr/bin/env bash
# Installs the built library into a temporary prefix, then configures, builds and runs an outside
# project against it. Usage: run.sh <build dir> <source dir of this project>
set -euo pipefail
build=$1
here=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$here" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/build" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib:$work/prefix/lib/x86_64-linux-gnu" QT_QPA_PLATFORM=offscreen "$work/build/consumer"
