#!/usr/bin/env bash
# Measures vireo-awbsim end to end against the floor (read every sample file
# once, convert every number with std::from_chars) and against the
# straightforward stream readers, in the same run and on the same data, for
# three data sizes. See bench/README.md.
#
#   bench/run-bench.sh [--reps N] [--smoke]
#
# --reps N   timed runs of each program per size (default 7); the median counts
# --smoke    one tiny data set and one run: checks that everything works
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build/bench
data_root=$root/build/bench-data
work=$root/build/bench-run
reps=7
smoke=0
while [ $# -gt 0 ]; do
  case $1 in
    --reps) reps=$2; shift 2 ;;
    --smoke) smoke=1; reps=1; shift ;;
    *) echo "usage: $0 [--reps N] [--smoke]" >&2; exit 2 ;;
  esac
done

# name samplesPerScene horizontalRegions verticalRegions
if [ $smoke = 1 ]; then
  sizes=("smoke-8x2-16x12 2 16 12")
else
  sizes=("8x50-64x48 50 64 48" "8x100-64x48 100 64 48" "8x50-128x96 50 128 96")
fi

echo "== build (Release) in $build" >&2
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVIREO_BUILD_BENCH=ON \
  -DVIREO_BUILD_TESTS=OFF -DVIREO_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j2 >/dev/null

bin=$build/bench
driver=$build/driver/vireo-awbsim
floor=$bin/vireo-bench-floor
straightforward=$bin/vireo-bench-straightforward
measure=$bin/vireo-bench-measure
wrapper=$build/testkit/libvireo_noop_wrapper.so
for program in "$driver" "$floor" "$straightforward" "$measure" "$bin/vireo-bench-datagen" "$wrapper"; do
  [ -e "$program" ] || { echo "missing $program" >&2; exit 1; }
done

# The data only changes with the generator's source, so it is made once and
# kept under build/bench-data.
generator_hash=$(cat "$root"/bench/{BenchDataGen.cpp,SampleText.cpp,SampleText.h} \
  "$root"/readers/SampleFileWriter.{h,cpp} "$root"/readers/SampleFileKeys.h |
  sha256sum | cut -c1-16)
mkdir -p "$data_root" "$work"

median() { sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

# Runs one program once; appends "wall cpu maxrss_kb" to $work/<size>.<label>.times.
run_once() {
  local size=$1 label=$2; shift 2
  local line
  line=$("$measure" "$work/$size.$label.out" "$@")
  read -r wall user sys rss status <<<"$line"
  if [ "$status" != 0 ]; then
    echo "$label exited with $status on $size" >&2
    exit 1
  fi
  awk -v w="$wall" -v u="$user" -v s="$sys" -v r="$rss" 'BEGIN { printf "%s %.6f %s\n", w, u + s, r }' \
    >>"$work/$size.$label.times"
}

labels=(driver floor straightforward)

summary=$work/summary.txt
: >"$summary"
for size_line in "${sizes[@]}"; do
  read -r size samples_per_scene horizontal vertical <<<"$size_line"
  data=$data_root/$size
  stamp="$generator_hash $samples_per_scene $horizontal $vertical"
  if [ "$(cat "$data/.stamp" 2>/dev/null)" != "$stamp" ]; then
    echo "== generating $size" >&2
    rm -rf "$data"
    "$bin/vireo-bench-datagen" "$data" "$samples_per_scene" "$horizontal" "$vertical" >&2
    echo "$stamp" >"$data/.stamp"
  fi
  samples=$((8 * samples_per_scene))
  bytes=$(find "$data" -name 'bg_stats_*.txt' -printf '%s\n' | awk '{ s += $1 } END { print s }')

  # The no-op wrapper ignores the tuning file and the algorithm library, but
  # the driver hands their paths over all the same.
  out=$work/$size.output
  mkdir -p "$out"
  : >"$work/tuning.bin"
  cat >"$work/$size.cfg" <<EOF
tuningFile=$work/tuning.bin
awbDLL=$wrapper
awbSimWrapperDLL=$wrapper
dataDir=$data
outputDir=$out
EOF
  rm -f "$work/$size".*.times
  commands_driver=("$driver" "$work/$size.cfg")
  commands_floor=("$floor" "$data")
  commands_straightforward=("$straightforward" "$data")

  # One untimed round brings the files into the page cache, then the
  # programs take turns so that a busy moment of the machine hits all alike.
  echo "== measuring $size ($samples samples, $reps runs each)" >&2
  for round in $(seq 0 "$reps"); do
    for label in "${labels[@]}"; do
      declare -n command="commands_$label"
      run_once "$size" "$label" "${command[@]}"
      unset -n command
    done
    [ "$round" = 0 ] && rm -f "$work/$size".*.times
  done

  # The driver must really have simulated every sample, or its time means
  # nothing.
  records=$(grep -c '^cct    : ' "$out/awbSimulationOutput.txt" 2>/dev/null || true)
  if [ "${records:-0}" != "$samples" ]; then
    echo "warning: the driver wrote ${records:-0} records for $samples samples on $size" >&2
    [ $smoke = 0 ] || exit 1
  fi
  floor_samples=$(awk '{ print $2 }' "$work/$size.floor.out")
  values=$(awk '{ print $6 }' "$work/$size.floor.out")
  straightforward_samples=$(awk '{ print $2 }' "$work/$size.straightforward.out")
  if [ "$floor_samples" != "$samples" ] || [ "$straightforward_samples" != "$samples" ]; then
    echo "floor read $floor_samples and straightforward $straightforward_samples of $samples samples" >&2
    exit 1
  fi

  for label in "${labels[@]}"; do
    wall=$(awk '{ print $1 }' "$work/$size.$label.times" | median)
    cpu=$(awk '{ print $2 }' "$work/$size.$label.times" | median)
    rss=$(awk '{ print $3 }' "$work/$size.$label.times" | sort -g | tail -1)
    echo "$size $label $samples $bytes $wall $cpu $rss $values" >>"$summary"
  done
done

# Table, ratios and growth, all from the summary.
awk -v smoke=$smoke '
  { size[NR] = $1; label[NR] = $2; n[NR] = $3; bytes[NR] = $4; wall[NR] = $5; cpu[NR] = $6; rss[NR] = $7
    key = $1 " " $2; W[key] = $5; C[key] = $6; B[$1] = $4; S[$1] = $3; V[$1] = $8
    if (!($1 in seen)) { seen[$1] = 1; order[++sizes] = $1 } }
  END {
    printf "%-16s %-16s %7s %8s %9s %9s %10s %8s %9s\n", "data", "program", "samples", "MB",
           "wall s", "cpu s", "samples/s", "MB/s", "peak RSS"
    for (i = 1; i <= NR; i++)
      printf "%-16s %-16s %7d %8.1f %9.3f %9.3f %10.0f %8.1f %6.1f MB\n", size[i], label[i], n[i],
             bytes[i] / 1e6, wall[i], cpu[i], n[i] / wall[i], bytes[i] / 1e6 / wall[i], rss[i] / 1024
    print ""
    printf "%-16s %18s %18s %22s %22s\n", "data", "driver/floor wall", "driver/floor cpu",
           "driver/straight. wall", "driver/straight. cpu"
    for (i = 1; i <= sizes; i++) {
      s = order[i]; d = s " driver"; f = s " floor"; t = s " straightforward"
      printf "%-16s %18.2f %18.2f %22.2f %22.2f\n", s, W[d] / W[f], C[d] / C[f], W[d] / W[t], C[d] / C[t]
    }
    if (sizes > 1) {
      print ""
      print "growth against the first data set (linear: cpu time grows as the values do)"
      b = order[1]
      for (i = 2; i <= sizes; i++) {
        s = order[i]
        printf "%-16s samples x%.2f  values x%.2f  bytes x%.2f  cpu: driver x%.2f  floor x%.2f  straightforward x%.2f\n",
               s, S[s] / S[b], V[s] / V[b], B[s] / B[b], C[s " driver"] / C[b " driver"],
               C[s " floor"] / C[b " floor"], C[s " straightforward"] / C[b " straightforward"]
      }
    }
    # The goals: close to the floor, far below the straightforward readers,
    # small and flat memory, cost proportional to the data.
    if (smoke) exit
    print ""
    print "goals (median cpu time, then median wall time)"
    worst_f = 0; worst_fw = 0; worst_t = 0; worst_tw = 0; worst_rss = 0; lo = 1e30; hi = 0
    for (i = 1; i <= sizes; i++) {
      s = order[i]; d = s " driver"
      if (C[d] / C[s " floor"] > worst_f) worst_f = C[d] / C[s " floor"]
      if (W[d] / W[s " floor"] > worst_fw) worst_fw = W[d] / W[s " floor"]
      if (C[d] / C[s " straightforward"] > worst_t) worst_t = C[d] / C[s " straightforward"]
      if (W[d] / W[s " straightforward"] > worst_tw) worst_tw = W[d] / W[s " straightforward"]
      per_value = C[d] / V[s]; if (per_value < lo) lo = per_value; if (per_value > hi) hi = per_value
    }
    for (i = 1; i <= NR; i++) if (label[i] == "driver" && rss[i] > worst_rss) worst_rss = rss[i]
    printf "  driver/floor at most 1.5:            %.2f / %.2f  %s\n", worst_f, worst_fw,
           (worst_f <= 1.5 && worst_fw <= 1.5) ? "met" : "NOT MET"
    printf "  driver/straightforward at most 0.33: %.2f / %.2f  %s\n", worst_t, worst_tw,
           (worst_t <= 1 / 3 && worst_tw <= 1 / 3) ? "met" : "NOT MET"
    printf "  driver peak RSS under 16 MB:         %.1f MB      %s\n", worst_rss / 1024,
           worst_rss < 16 * 1024 ? "met" : "NOT MET"
    printf "  driver cpu per value within 25%%:     %.1f to %.1f ns  %s\n", lo * 1e9, hi * 1e9,
           hi <= 1.25 * lo ? "met" : "NOT MET"
  }' "$summary"
