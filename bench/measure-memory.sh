#!/usr/bin/env bash
# Peak memory (maximum resident set) and CPU time of the command line's fandeck workflows on a
# generated two-angle fandeck pair: convert, compare with report and certificate, export, import
# (CGATS), and export and import as CxF3.
# Usage: bench/measure-memory.sh [RECORDS...]      (default 100000 300000)
# Environment: BUILD=build dir (default build), TINTARA=the tintara to measure (default
# $BUILD/tintara), KEEP=1 keeps the generated files in the work folder, WORKFLOWS=the ones to run
# (default "convert compare export import"; import reads what export wrote, so it needs export;
# "cxf" exports the Target as CxF3 and imports that file, measuring both).
# Prints one line per workflow: records, workflow, max RSS in MB, user+system CPU in s, wall in s.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD:-$top/build}
tintara=${TINTARA:-$build/tintara}
make=$build/bench/tintara-make-fandeck
[ -x "$tintara" ] && [ -x "$make" ] || { echo "build tintara and tintara-make-fandeck first" >&2; exit 1; }
[ -x /usr/bin/time ] || { echo "needs /usr/bin/time (Debian package time)" >&2; exit 1; }
work=$(mktemp -d "${TMPDIR:-/tmp}/tintara-memory.XXXXXX")
[ "${KEEP:-0}" = 1 ] || trap 'rm -rf "$work"' EXIT

# measure RECORDS NAME COMMAND...: runs the command under /usr/bin/time -v and prints its figures.
measure() {
    local records=$1 name=$2
    shift 2
    /usr/bin/time -v -o "$work/time.txt" "$@" >"$work/out.txt" 2>&1 ||
        { echo "$name failed:" >&2; cat "$work/out.txt" >&2; exit 1; }
    awk -v n="$records" -v w="$name" -F': ' '
        /Maximum resident set size/ { rss = $2 / 1024 }
        /User time/ { cpu += $2 } /System time/ { cpu += $2 }
        /Elapsed \(wall clock\)/ { k = split($2, t, ":"); wall = 0
                                    for (i = 1; i <= k; ++i) wall = wall * 60 + t[i] }
        END { printf "%9d  %-10s  %8.1f MB  %6.2f s CPU  %6.2f s wall\n", n, w, rss, cpu, wall }
    ' "$work/time.txt"
}

echo "  records  workflow       max RSS        CPU          wall   (load: $(cut -d' ' -f1-3 /proc/loadavg))"
sizes=("$@")
[ ${#sizes[@]} -gt 0 ] || sizes=(100000 300000)
run() { [[ " ${WORKFLOWS:-convert compare export import} " == *" $1 "* ]]; }
for records in "${sizes[@]}"; do
    dir=$work/$records
    "$make" "$dir" "$records" >/dev/null
    m=$dir/master-$records.wsv t=$dir/target-$records.wsv ccf=$dir/demo.ccf
    run convert && measure "$records" convert "$tintara" convert --ccf "$ccf" --in "$t" --out "$dir/out.wsv"
    run compare && measure "$records" compare "$tintara" compare --master "$m" --target "$t" --ccf "$ccf" \
        --report "$dir/CompareReport.txt" --certificate "$dir/certificate.pdf"
    run export && measure "$records" export "$tintara" export "$t" -o "$dir/target.txt"
    run import && measure "$records" import "$tintara" import "$dir/target.txt" -o "$dir/imported.wsv"
    if run cxf; then
        measure "$records" cxf-export "$tintara" export "$t" -o "$dir/target.cxf"
        measure "$records" cxf-import "$tintara" import "$dir/target.cxf" -o "$dir/from-cxf.wsv"
    fi
    [ "${KEEP:-0}" = 1 ] || rm -rf "$dir"
done
