#!/usr/bin/env bash
# Fuzz smoke: builds the libFuzzer targets (fuzz preset) and runs each one
# for FUZZ_SECONDS (35 by default: seven targets in about four minutes) from the committed seeds plus whatever an
# earlier run kept in build/fuzz/corpus. Inputs that crash, leak or break an
# invariant are written to build/fuzz/findings and fail the stage.
#
# Long runs use the same script: FUZZ_SECONDS=3600 bash .ci/stages/50-fuzz.sh
# Choose targets with FUZZ_TARGETS="fuzz_ChannelRecords fuzz_Calibration".
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=.ci/lib/apt.sh
. .ci/lib/apt.sh

ensure_packages clang-14 libclang-rt-14-dev libyaml-cpp-dev

seconds=${FUZZ_SECONDS:-35}
targets=${FUZZ_TARGETS:-fuzz_ConfigFile fuzz_StatsHeader fuzz_ChannelRecords fuzz_Calibration \
    fuzz_TuningDecode fuzz_YamlTuning fuzz_AwbDecision}

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzz_all

mkdir -p build/fuzz/findings
for target in $targets; do
    case "$target" in
        fuzz_ConfigFile) seeds=fuzz/corpus/config dict=fuzz/config.dict ;;
        fuzz_TuningDecode) seeds=fuzz/corpus/tuning dict="" ;;
        fuzz_YamlTuning) seeds=fuzz/corpus/yaml dict=fuzz/yaml.dict ;;
        # Its input is a stream of random choices, not a file: no seeds.
        fuzz_AwbDecision) seeds="" dict="" ;;
        *) seeds=fuzz/corpus/sample dict=fuzz/sample.dict ;;
    esac
    corpus=build/fuzz/corpus/$target
    mkdir -p "$corpus"
    echo "---- $target for ${seconds}s"
    # New inputs go into the first folder only; the seeds stay untouched.
    # -close_fd_mask=1 drops the readers' messages on standard output.
    build/fuzz/fuzz/"$target" "$corpus" ${seeds:+"$seeds"} ${dict:+-dict="$dict"} \
        -max_total_time="$seconds" -max_len=8192 -timeout=10 \
        -rss_limit_mb=2048 -close_fd_mask=1 -print_final_stats=1 \
        -artifact_prefix="build/fuzz/findings/$target-"
done
