#!/usr/bin/env bash
# Builds the fuzz targets (clang, libFuzzer, ASan + UBSan) and runs them.
#   fuzz/run.sh TARGET SECONDS     one target, e.g. fuzz/run.sh string_parse 60
#   fuzz/run.sh all SECONDS        every target in turn
# Each target starts from its committed seeds in fuzz/corpus/<target>; what it discovers goes to
# the build folder's corpus, never into the repository. Extra arguments after SECONDS go to libFuzzer.
set -euo pipefail
cd "$(dirname "$0")/.."

target=${1:-all}
seconds=${2:-20}
shift $(( $# > 2 ? 2 : $# ))
build=${FUZZ_BUILD:-build-fuzz}
jobs=${JOBS:-2}

cmake -S . -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DQUARN_FUZZ=ON -DQUARN_SANITIZE=address,undefined -DQUARN_WERROR=ON \
    -DQUARN_BUILD_TESTS=OFF -DQUARN_BUILD_BENCH=OFF -DQUARN_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" --target fuzzers -j "$jobs"

if [ "$target" = all ]; then
    targets=$(cd "$build/bin" && ls fuzz-* | sed 's/^fuzz-//')
else
    targets=$target
fi

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:allocator_may_return_null=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
status=0
for name in $targets; do
    work="$build/corpus/$name"
    mkdir -p "$work" "$build/artifacts/$name"
    seeds="fuzz/corpus/$name"
    echo "== fuzz-$name for ${seconds}s"
    if ! "$build/bin/fuzz-$name" "$work" $( [ -d "$seeds" ] && echo "$seeds" ) \
        -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=4096 \
        -artifact_prefix="$build/artifacts/$name/" -print_final_stats=1 "$@" 2>"$build/fuzz-$name.log"; then
        echo "fuzz-$name FAILED; its log:"
        tail -n 60 "$build/fuzz-$name.log"
        status=1
    else
        grep -E "stat::number_of_executed_units|stat::peak_rss_mb" "$build/fuzz-$name.log" | tr '\n' ' '
        echo
    fi
done
exit $status
