#!/usr/bin/env bash
# Fuzzes every reader of outside text with libFuzzer (clang, ASan + UBSan):
# each target of tests/fuzz runs for the given seconds, starting from its
# stored corpus (tests/fuzz/corpus/<name>/, read only) and growing a scratch
# corpus in build-fuzz/corpus/<name>/. A crash or a broken property stops that
# target and leaves the input in build-fuzz/crashes/<name>/; the script then
# fails. One summary line per target goes to stdout and build-fuzz/fuzz-log.txt.
# Usage: scripts/fuzz.sh [seconds-per-target] [name...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
dir=build-fuzz

cmake -S . -B "$dir" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -g" -DOSTREL_FUZZ=ON >/dev/null
mapfile -t all < <(sed -n 's/^ostrel_fuzz_target(\([a-z_0-9]*\) .*/\1/p' tests/fuzz/CMakeLists.txt)
names=("$@")
[ ${#names[@]} -gt 0 ] || names=("${all[@]}")
targets=()
for n in "${names[@]}"; do targets+=("fuzz_$n"); done
if ! cmake --build "$dir" -j"$(nproc)" --target "${targets[@]}" >"$dir/build.log" 2>&1; then
    tail -n 60 "$dir/build.log"
    exit 1
fi

export ASAN_OPTIONS="halt_on_error=1:detect_leaks=1"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
failed=0
for n in "${names[@]}"; do
    mkdir -p "$dir/corpus/$n" "$dir/crashes/$n"
    out="$dir/crashes/$n/last-run.txt"
    set +e
    QT_QPA_PLATFORM=offscreen "$dir/bin/fuzz_$n" -max_total_time="$seconds" -print_final_stats=1 \
        -artifact_prefix="$dir/crashes/$n/" "$dir/corpus/$n" "tests/fuzz/corpus/$n" >"$out" 2>&1
    rc=$?
    set -e
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$out" | tail -1)
    crashes=$(find "$dir/crashes/$n" -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*' | wc -l)
    line="$(date -u +%F) $n: ${seconds}s, ${execs:-?} executions, corpus $(ls "$dir/corpus/$n" | wc -l) inputs, exit $rc, findings kept $crashes"
    echo "$line" | tee -a "$dir/fuzz-log.txt"
    if [ $rc -ne 0 ]; then
        failed=1
        grep -m5 -E 'ERROR|property broken|runtime error' "$out" || true
    fi
done
exit $failed
