#!/usr/bin/env bash
# The main job, from a fresh clone to the score table in one command:
# installs what a fresh Debian machine lacks (or says how), builds what is
# missing, generates the data set if it is missing, compiles the tuning,
# writes the driver's configuration, runs vireo-awbsim with the reference
# wrapper and algorithm libraries, and prints the score table.
set -euo pipefail

usage() {
    cat <<'EOF'
usage: bash tools/main-job.sh [options]
  --samples K     samples per scene (default 16)
  --camera NAME   camera of the data set (default "samsung SM-G930V"; also
                  "LG Mobile LG-H815", or any profile of rawtherapee-data)
  --seed N        data set seed (default 1)
  --calibrate     derive the tuning from this data set's chart shots with
                  vireo-tune calibrate instead of reference/tuning/default.yaml
  --learn         learn the tuning (mode learned) from this data set's own
                  labelled samples with vireo-tune learn
  --gate          fail unless overall median <= 1.5, worst-25% <= 4 degrees
                  and the reference beats grey world on every scene
  --data DIR      data folder (default data/<camera>-k<K>-s<seed>)
  --out DIR       output folder (default out/<same name>)
  --help          this text
  --version       the version
Relative folders are taken from the current folder. Installed (as
vireo-main-job), it uses the installed tools, libraries and default tuning
and puts data/ and out/ in the current folder.
EOF
}

# From a source checkout: build there. Installed: the tools sit beside this
# script and the libraries and the default tuning under the same prefix.
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
if [ -f "$here/../CMakeLists.txt" ]; then
    root=$(cd "$here/.." && pwd) installed=0
    version=$(sed -n 's/^project(vireo-awbsim VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
else
    root=$PWD installed=1 prefix=$(cd "$here/.." && pwd)
    version=$("$here/vireo-check" --version | sed 's/.* //')
fi
samples=16 camera="samsung SM-G930V" seed=1 calibrate=0 learn=0 gate=0 data="" out=""
while [ $# -gt 0 ]; do
    case "$1" in
        --samples) samples=$2; shift 2 ;;
        --camera) camera=$2; shift 2 ;;
        --seed) seed=$2; shift 2 ;;
        --calibrate) calibrate=1; shift ;;
        --learn) learn=1; shift ;;
        --gate) gate=1; shift ;;
        --data) data=$2; shift 2 ;;
        --out) out=$2; shift 2 ;;
        -h|--help) usage; exit 0 ;;
        --version) echo "vireo-main-job (vireo-awbsim) $version"; exit 0 ;;
        *) echo "main-job: unknown option $1" >&2; usage >&2; exit 2 ;;
    esac
done
name=$(printf '%s' "$camera" | tr -c 'A-Za-z0-9\n' '-')-k$samples-s$seed
data=${data:-$root/data/$name}
out=${out:-$root/out/$name}
[[ $data == /* ]] || data=$PWD/$data
[[ $out == /* ]] || out=$PWD/$out

step_no=0
step() { step_no=$((step_no + 1)); printf '[%d/6] %s\n' "$step_no" "$*"; }
elapsed() { printf '      done in %ds\n' $((SECONDS - $1)); }

# 1. Prerequisites: Debian bookworm packages.
step "checking prerequisites"
missing=()
# Installed, the tools need nothing more to run.
if [ $installed = 0 ]; then
    command -v cmake >/dev/null || missing+=(cmake)
    command -v g++ >/dev/null || missing+=(g++)
    command -v make >/dev/null || missing+=(make)
    [ -f /usr/include/yaml-cpp/yaml.h ] || missing+=(libyaml-cpp-dev)
    [ -f /usr/include/fftw3.h ] || missing+=(libfftw3-dev)  # vireo-tune learn
    [ -f /usr/include/lbfgs.h ] || missing+=(liblbfgs-dev)
    # vireo-import (real pictures into sample files) is built alongside.
    [ -f /usr/include/spng.h ] || missing+=(libspng-dev)
    [ -f /usr/include/libraw/libraw.h ] || missing+=(libraw-dev)
    if [ ${#missing[@]} -gt 0 ]; then
        if [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null; then
            echo "      installing ${missing[*]}"
            export DEBIAN_FRONTEND=noninteractive
            apt-get update -qq && apt-get install -y -qq "${missing[@]}" >/dev/null
        else
            echo "main-job: missing ${missing[*]}; install them with:" >&2
            echo "  sudo apt-get install -y ${missing[*]}" >&2
            exit 1
        fi
    fi
fi
if [[ "$camera" != "samsung SM-G930V" && "$camera" != "LG Mobile LG-H815" && "$camera" != *.dcp &&
      ! -f "/usr/share/rawtherapee/dcpprofiles/$camera.dcp" ]]; then
    echo "main-job: camera \"$camera\" needs its profile; install it with:" >&2
    echo "  sudo apt-get install -y rawtherapee-data" >&2
    exit 1
fi

# The driver's configuration is five whitespace-separated words, and the
# driver builds each sample's path in a fixed buffer: a path it would cut
# short must be refused here, not found out from a misleading driver error.
refuse_path() {
    echo "main-job: $1 \"$2\" $3; choose another" >&2
    exit 2
}
for what in checkout data out; do
    case $what in
        checkout) p=$root ;;
        data) p=$data ;;
        out) p=$out ;;
    esac
    if [[ "$p" =~ [[:space:]] ]]; then
        refuse_path "$what folder" "$p" "holds white space, which the driver's configuration cannot carry"
    fi
done
# The sample path buffer's size and the scene names have one home each, in
# the driver's own headers; an installation has no headers, and takes the
# values this release was built with.
sample_path_size=256 longest_scene=9
if [ $installed = 0 ]; then
    sample_path_size=$(sed -n 's/.*kSamplePathSize = \([0-9]*\);.*/\1/p' "$root/driver/RunContext.h")
    longest_scene=$(sed -n '/SceneList\[\]/,/};/p' "$root/driver/RunDriver.h" | grep -o '"[^"]*"' |
        awk '{ if (length($0) > n) n = length($0) } END { print n - 2 }')
fi
# <data>/<longest scene>/sample_NNNN.txt and its terminating zero.
sample_name=sample_0000.txt
max_data=$((sample_path_size - longest_scene - ${#sample_name} - 3))
if [ ${#data} -gt $max_data ]; then
    refuse_path "data folder" "$data" "is ${#data} characters long; the driver takes at most $max_data"
fi
# <out>/TintraBinaryParameterSet.bin must fit the configuration's 2047 characters.
if [ ${#out} -gt 2000 ]; then
    refuse_path "output folder" "$out" "is ${#out} characters long; the driver takes at most 2000"
fi

if [ -e "$data" ] && [ ! -f "$data/ground_truth.csv" ] &&
    { [ ! -d "$data" ] || [ -n "$(ls -A "$data")" ]; }; then
    echo "main-job: --data $data exists and holds no data set (no ground_truth.csv);" \
        "the main job uses a data set or makes one in a new or empty folder, and never" \
        "deletes a folder: choose another" >&2
    exit 2
fi

# 2. Build (incremental: only what is missing or changed).
if [ $installed = 1 ]; then
    step "using the installed tools in $here"
    libdir=$(dirname "$(find "$prefix"/lib* -name libvireo_wrapper.so -print -quit 2>/dev/null)")
    share=$prefix/share/vireo-awbsim
    tools=(vireo-awbsim vireo-datagen vireo-score vireo-tune vireo-check)
    for f in "${tools[@]/#/$here/}" "$libdir/libvireo_wrapper.so" "$libdir/libvireo_awb.so" \
             "$share/default.yaml"; do
        [ -e "$f" ] || { echo "main-job: the installation has no $f" >&2; exit 1; }
    done
    awbsim=$here/vireo-awbsim datagen=$here/vireo-datagen score=$here/vireo-score
    tune=$here/vireo-tune check=$here/vireo-check yaml=$share/default.yaml
else
    step "building (cmake --workflow --preset default)"
    t=$SECONDS
    cd "$root"
    mkdir -p build
    # Progress: the build's percentage, rewritten in place.
    show_progress() {
        local pct
        while IFS= read -r line; do
            printf '%s\n' "$line" >>build/main-job-build.log
            pct=$(expr "$line" : '\[ *\([0-9]*\)%\]' || true)
            [ -n "$pct" ] && [ -t 1 ] && printf '\r      %3d%%' "$pct"
        done
        [ -t 1 ] && printf '\r'
        return 0
    }
    : >build/main-job-build.log
    if ! cmake --workflow --preset default 2>&1 | show_progress; then
        tail -n 30 build/main-job-build.log >&2
        echo "main-job: build failed; the whole log is build/main-job-build.log" >&2
        exit 1
    fi
    elapsed $t
    bin=$root/build/default
    for f in driver/vireo-awbsim tools/datagen/vireo-datagen tools/score/vireo-score tools/tune/vireo-tune \
             tools/check/vireo-check reference/libvireo_wrapper.so reference/libvireo_awb.so; do
        [ -e "$bin/$f" ] || { echo "main-job: the build made no $bin/$f" >&2; exit 1; }
    done
    awbsim=$bin/driver/vireo-awbsim datagen=$bin/tools/datagen/vireo-datagen
    score=$bin/tools/score/vireo-score tune=$bin/tools/tune/vireo-tune
    check=$bin/tools/check/vireo-check yaml=$root/reference/tuning/default.yaml libdir=$bin/reference
fi

# 3. Data set: a folder that holds one is used as it is; a missing or empty
# folder gets one. Nothing is ever deleted: a folder with other contents is
# someone else's, and is refused before anything is written.
stamp="camera=$camera samples=$samples seed=$seed"
if [ -f "$data/ground_truth.csv" ]; then
    step "data set $data is there"
    made=$(cat "$data/.main-job" 2>/dev/null || echo "another tool")
    [ "$made" = "$stamp" ] ||
        echo "      note: made by $made, not with $stamp; remove it to generate anew"
else
    step "generating $samples samples per scene for \"$camera\" into $data"
    t=$SECONDS
    "$datagen" --out "$data" --samples "$samples" --seed "$seed" \
        --camera "$camera" | sed 's/^/      /'
    echo "$stamp" >"$data/.main-job"
    elapsed $t
fi

# 4. Tuning.
mkdir -p "$out"
if [ $learn = 1 ]; then
    step "learning the tuning from the labelled samples, compiling it"
    yaml=$out/tuning.yaml
    "$tune" learn --data "$data" --out "$yaml"
elif [ $calibrate = 1 ]; then
    step "calibrating the tuning from the chart shots, compiling it"
    yaml=$out/tuning.yaml
    "$tune" calibrate --data "$data" --out "$yaml"
else
    step "compiling the default tuning"
fi
"$tune" compile "$yaml" "$out/TintraBinaryParameterSet.bin"

# 5. Configuration and the run.
step "running vireo-awbsim"
t=$SECONDS
cfg=$out/main-job.cfg
cat >"$cfg" <<EOF
tuningFile=$out/TintraBinaryParameterSet.bin
awbDLL=$libdir/libvireo_awb.so
awbSimWrapperDLL=$libdir/libvireo_wrapper.so
dataDir=$data
outputDir=$out
EOF
# The data set's identity beside the results, so that they are never
# scored against another data set's ground truth.
rm -f "$out/dataset.id"
[ ! -f "$data/dataset.id" ] || cp "$data/dataset.id" "$out/dataset.id"
# Everything the driver would pass over in silence stops the job here.
if ! "$check" --quiet "$cfg" >"$out/check.log" 2>&1; then
    head -n 20 "$out/check.log" >&2
    echo "main-job: vireo-check found problems; all of them are in $out/check.log" >&2
    exit 1
fi
if ! "$awbsim" "$cfg" >"$out/driver.log" 2>&1; then
    tail -n 20 "$out/driver.log" >&2
    echo "main-job: vireo-awbsim failed; its output is in $out/driver.log" >&2
    exit 1
fi
elapsed $t

# 6. Score.
step "scoring $out/awbSimulationOutput.txt"
gates=()
[ $gate = 1 ] && gates=(--max-median 1.5 --max-worst25 4 --beat-grey-world)
"$score" --results "$out/awbSimulationOutput.txt" \
    --truth "$data/ground_truth.csv" --data "$data" "${gates[@]}"
