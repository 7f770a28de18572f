# shellcheck shell=bash
# Sourced by the CI stages: writes small data trees for end-to-end runs of
# the driver.

# sample_file REGIONS: a well-formed sample file with REGIONS regions on
# standard output.
sample_file() {
    local regions=$1 i key
    printf '%s\n' "LuxIndex:" 250.5 "AECSettled:" 1 "Horizontal Region Count:" "$regions" \
        "Vertical Region Count:" 1 "Total Region Count:" "$regions" "Region Width:" 72 \
        "Region Height:" 54 "Bit Depth:" 10 "Flags:" 0 "Saturation Threshold:" 1023 1023 1023 1023 \
        "Valid Region Count:" "$regions" "Stats ROI:" 0 0 4608 3456 \
        "Num Calibration Factors:" 3 "Calibration Factor CCTs:" 2850 4000 5000 6500 7500 0 \
        "Module Calibration Factors:"
    for i in $(seq 1 20); do echo "1.0$i"; done
    printf '%s\n' "Single LED Calibration Point:" 0.98 1.02
    for key in "R Sum:" "G/GR Sum:" "B Sum:" "GB Sum:" "R Count:" "G/GR Count:" "B Count:" "GB Count:"; do
        echo "$key"
        for i in $(seq 1 "$regions"); do echo $((i * 997 % 4096)); done
    done
    echo "R SatSum:"
}

# with_value KEY VALUE: filter that puts VALUE on the line after the first
# line that is exactly KEY.
with_value() {
    awk -v key="$1" -v value="$2" 'done != 1 && previous == key { $0 = value; done = 1 } { previous = $0; print }'
}

# write_sample_tree DIR SAMPLES REGIONS: the eight scene folders under DIR,
# each with SAMPLES well-formed sample files.
write_sample_tree() {
    local dir=$1 samples=$2 regions=$3 scene n
    for scene in ball chart indoor_1 indoor_2 indoor_3 indoor_4 outdoor_1 outdoor_2; do
        mkdir -p "$dir/$scene"
        for n in $(seq 1 "$samples"); do
            sample_file "$regions" >"$dir/$scene/sample_$n.txt"
        done
    done
}

# write_hostile_tree DIR: scene folders whose samples take every failure path
# of the driver: unreadable lines, missing sections, absurd and negative
# region counts, a hidden file, a sub-folder, an over-long name.
write_hostile_tree() {
    local dir=$1 good
    write_sample_tree "$dir" 1 4
    # Held in a variable: piping the generator into head would end it with
    # SIGPIPE, which pipefail turns into a failure.
    good=$(sample_file 4)
    : >"$dir/ball/empty.txt"
    head -c 5000 /dev/zero | tr '\0' '7' >"$dir/chart/one_long_line.txt"
    head -n 30 <<<"$good" >"$dir/indoor_1/cut_in_calibration.txt"
    sed '/^Num Calibration Factors:/,/^R Sum:/{/^R Sum:/!d}' <<<"$good" >"$dir/indoor_2/no_calibration.txt"
    # Far more regions than the file holds lines for.
    with_value "Total Region Count:" 1000000 <<<"$good" >"$dir/indoor_3/big_count.txt"
    printf 'LuxIndex:\n1e39\nAECSettled:\nnan\n' >"$dir/indoor_4/out_of_range.txt"
    echo "hidden" >"$dir/outdoor_1/.hidden"
    mkdir -p "$dir/outdoor_1/a_folder"
    sample_file 2 >"$dir/outdoor_1/$(printf 'n%.0s' $(seq 1 200)).txt"
    # A negative count ends the scene, so it goes last in the walk.
    with_value "Total Region Count:" -1 <<<"$good" >"$dir/outdoor_2/negative_count.txt"
}
