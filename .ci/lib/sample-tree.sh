# shellcheck shell=bash
# Sourced by the CI stages: small data trees for end-to-end runs of the
# driver. vireo-datagen writes them, so their files come from the project's
# one sample-file writer and their folders from the driver's scene list;
# DATAGEN names the vireo-datagen of the build under test.

# write_sample_tree DIR SAMPLES GRID: the eight scene folders under DIR, each
# with SAMPLES well-formed sample files on a GRID (columns x rows) of regions.
write_sample_tree() {
    "${DATAGEN:?DATAGEN must name vireo-datagen}" --out "$1" --samples "$2" --grid "$3" --quiet
}

# with_value KEY VALUE: filter that puts VALUE on the line after the first
# line that is exactly KEY.
with_value() {
    awk -v key="$1" -v value="$2" 'done != 1 && previous == key { $0 = value; done = 1 } { previous = $0; print }'
}

# write_hostile_tree DIR: scene folders whose samples take every failure path
# of the driver: unreadable lines, missing sections, absurd and negative
# region counts, a hidden file, a sub-folder, an over-long name.
write_hostile_tree() {
    local dir=$1 good
    write_sample_tree "$dir" 1 2x2
    good=$(<"$dir/ball/sample_0001.txt")
    : >"$dir/ball/empty.txt"
    head -c 5000 /dev/zero | tr '\0' '7' >"$dir/chart/one_long_line.txt"
    head -n 35 <<<"$good" >"$dir/indoor_1/cut_in_calibration.txt"
    sed '/^Num Calibration Factors:/,/^R Sum:/{/^R Sum:/!d}' <<<"$good" >"$dir/indoor_2/no_calibration.txt"
    # Far more regions than the file holds lines for.
    with_value "Total Region Count:" 1000000 <<<"$good" >"$dir/indoor_3/big_count.txt"
    printf 'LuxIndex:\n1e39\nAECSettled:\nnan\n' >"$dir/indoor_4/out_of_range.txt"
    echo "hidden" >"$dir/outdoor_1/.hidden"
    mkdir -p "$dir/outdoor_1/a_folder"
    printf '%s\n' "$good" >"$dir/outdoor_1/$(printf 'n%.0s' $(seq 1 200)).txt"
    # A negative count ends the scene, so it goes last in the walk.
    with_value "Total Region Count:" -1 <<<"$good" >"$dir/outdoor_2/negative_count.txt"
}
