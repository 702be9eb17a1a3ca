#!/bin/sh
# Regenerates the independent colorimetry reference used by tests/engine/ColorMatch_test.cpp.
#
# Builds a set of 40-point reflectance curves (percent, 360-750 nm by 10 nm): the CIE 13.3 test
# colour samples of data/cie taken at every 10 nm, and synthetic curves (greys, a near-black with
# slightly negative ends, steep edges, narrow bands, saturated colours). ArgyllCMS's spec2cie (Debian
# package "argyll") computes their CIELAB values for illuminant D65 and the CIE 1964 10-degree
# observer. The outputs are kept in this folder so the test needs no ArgyllCMS:
#   reference_spectra.ti3  the curves as ArgyllCMS reads them (10 nm)
#   argyll_output.ti3      spec2cie's output for them, untouched
#   reference_fine.ti3     the same curves taken to 1 nm by Sprague interpolation (CIE 15:2004,
#                          computed here in awk), so that spec2cie's own interpolation of 10 nm data
#                          plays no part
#   argyll_fine_output.ti3 spec2cie's output for those, untouched
#   argyll_lab.txt         one line per curve: name, L*, a*, b* (D65 white) from the 10 nm curve,
#                          L*, a*, b* from the 1 nm curve, then the 40 values
#   reference_exact.ti3    the synthetic curves that are smooth functions of wavelength, evaluated
#                          at every nanometre from their formulas (no interpolation at all)
#   argyll_exact_output.ti3 spec2cie's output for those, untouched
#   argyll_exact_lab.txt   one line per such curve: name, L*, a*, b* (D65 white) of the exact curve
set -eu
here=$(cd "$(dirname "$0")" && pwd)
cie="$here/../../../data/cie/cie_test_colour_samples_5nm.csv"
cd "$here"

# lab_of FILE: one line per row of a spec2cie output file: sample, D65LAB_L, _A, _B.
lab_of() {
    awk -f "$here/../spec2cie_lab.awk" "$1"
}

# write_ti3 FILE DESCRIPTOR STEP ROWS: a CTI3 file of reflectance rows (id, three zero RGB values,
# then one value per STEP nm from 360 to 750 nm, in percent).
write_ti3() {
    bands=$(( 390 / $3 + 1 ))
    names=""
    nm=360
    while [ $nm -le 750 ]; do names="$names SPEC_$nm"; nm=$((nm + $3)); done
    {
        printf 'CTI3\n\nDESCRIPTOR "%s"\nORIGINATOR "make_reference.sh"\n' "$2"
        printf 'DEVICE_CLASS "OUTPUT"\nCOLOR_REP "RGB_LAB"\nSPECTRAL_BANDS "%s"\n' "$bands"
        printf 'SPECTRAL_START_NM "360.000000"\nSPECTRAL_END_NM "750.000000"\nSPECTRAL_NORM "100.000000"\n\n'
        printf 'NUMBER_OF_FIELDS %s\nBEGIN_DATA_FORMAT\nSAMPLE_ID RGB_R RGB_G RGB_B%s\nEND_DATA_FORMAT\n\n' \
            $((bands + 4)) "$names"
        printf 'NUMBER_OF_SETS %s\nBEGIN_DATA\n' "$(printf '%s\n' "$4" | wc -l)"
        printf '%s\n' "$4"
        printf 'END_DATA\n'
    } > "$1"
}

curves=$(awk -F, '
    function emit(name,    i, line) {
        line = name
        for (i = 0; i < 40; i++) line = line " " sprintf("%.6f", r[i])
        print line
    }
    function gauss(nm, centre, width) { return exp(-((nm - centre) / width) ^ 2) }
    # CIE test colour samples: columns 2.. are 360, 365, ... nm; keep every 10 nm, in percent.
    NR > 2 && $1 !~ /^#/ {
        for (i = 0; i < 40; i++) r[i] = 100 * $(2 + 2 * i)
        emit($1)
    }
    END {
        for (i = 0; i < 40; i++) { nm = 360 + 10 * i
            r[i] = 50; }                                            emit("Grey50")
        for (i = 0; i < 40; i++) { r[i] = 18 }                      emit("Grey18")
        for (i = 0; i < 40; i++) { r[i] = 90 + 0.1 * i }            emit("WhiteWarm")
        for (i = 0; i < 40; i++) { r[i] = 0.8 + 0.02 * i - (i == 0 || i == 39 ? 1.0 : 0) }
                                                                    emit("NearBlack")
        for (i = 0; i < 40; i++) { nm = 360 + 10 * i
            r[i] = nm < 550 ? 4 : 88 }                              emit("EdgeYellow550")
        for (i = 0; i < 40; i++) { nm = 360 + 10 * i
            r[i] = nm < 600 ? 3 : 85 }                              emit("RedEdge600")
        for (i = 0; i < 40; i++) { nm = 360 + 10 * i
            r[i] = 4 + 66 * gauss(nm, 450, 25) }                    emit("SaturatedBlue")
        for (i = 0; i < 40; i++) { nm = 360 + 10 * i
            r[i] = 5 + 60 * gauss(nm, 530, 30) }                    emit("GreenBand")
        for (i = 0; i < 40; i++) { nm = 360 + 10 * i
            r[i] = 3 + 70 * gauss(nm, 420, 30) + 80 * gauss(nm, 700, 60) }
                                                                    emit("Magenta")
        for (i = 0; i < 40; i++) { nm = 360 + 10 * i
            r[i] = 2 + 90 * gauss(nm, 580, 10) }                    emit("NarrowSpike580")
        for (i = 0; i < 40; i++) { r[i] = 10 + 70 * i / 39 }       emit("Ramp10to80")
        for (i = 0; i < 40; i++) { r[i] = (i % 2 == 0) ? 30 : 40 }  emit("Comb30to40")
    }' "$cie")

write_ti3 reference_spectra.ti3 "Tintara colorimetry reference curves" 10 \
    "$(printf '%s\n' "$curves" | awk '{ $1 = $1 " 0.0 0.0 0.0"; print }')"
spec2cie -n -i D65 -o 1964_10 reference_spectra.ti3 argyll_output.ti3

# The 1 nm curves: Sprague with the CIE end coefficients, ten steps per interval.
fine=$(printf '%s\n' "$curves" | awk '
    {
        n = 40
        for (i = 0; i < n; i++) f[i] = $(i + 2)
        p[0] = (884 * f[0] - 1960 * f[1] + 3033 * f[2] - 2648 * f[3] + 1080 * f[4] - 180 * f[5]) / 209
        p[1] = (508 * f[0] - 540 * f[1] + 488 * f[2] - 367 * f[3] + 144 * f[4] - 24 * f[5]) / 209
        for (i = 0; i < n; i++) p[i + 2] = f[i]
        p[n + 2] = (-24 * f[n-6] + 144 * f[n-5] - 367 * f[n-4] + 488 * f[n-3] - 540 * f[n-2] + 508 * f[n-1]) / 209
        p[n + 3] = (-180 * f[n-6] + 1080 * f[n-5] - 2648 * f[n-4] + 3033 * f[n-3] - 1960 * f[n-2] + 884 * f[n-1]) / 209
        line = $1 " 0.0 0.0 0.0"
        for (i = 0; i < n - 1; i++) {
            q0 = p[i]; q1 = p[i + 1]; q2 = p[i + 2]; q3 = p[i + 3]; q4 = p[i + 4]; q5 = p[i + 5]
            a1 = (2 * q0 - 16 * q1 + 16 * q3 - 2 * q4) / 24
            a2 = (-q0 + 16 * q1 - 30 * q2 + 16 * q3 - q4) / 24
            a3 = (-9 * q0 + 39 * q1 - 70 * q2 + 66 * q3 - 33 * q4 + 7 * q5) / 24
            a4 = (13 * q0 - 64 * q1 + 126 * q2 - 124 * q3 + 61 * q4 - 12 * q5) / 24
            a5 = (-5 * q0 + 25 * q1 - 50 * q2 + 50 * q3 - 25 * q4 + 5 * q5) / 24
            for (k = 0; k < 10; k++) {
                x = k / 10
                line = line " " sprintf("%.8f", q2 + a1 * x + a2 * x^2 + a3 * x^3 + a4 * x^4 + a5 * x^5)
            }
        }
        print line " " sprintf("%.8f", f[n - 1])
    }')
write_ti3 reference_fine.ti3 "Tintara colorimetry reference curves at 1 nm" 1 "$fine"
spec2cie -n -i D65 -o 1964_10 reference_fine.ti3 argyll_fine_output.ti3

# Pair spec2cie's D65-relative L*a*b* (both runs) with the input curves, by sample id.
lab_of argyll_output.ti3 > ten.tmp
lab_of argyll_fine_output.ti3 > one.tmp
printf '%s\n' "$curves" | awk '
    FILENAME == "ten.tmp" { ten[$1] = $2 " " $3 " " $4; next }
    FILENAME == "one.tmp" { one[$1] = $2 " " $3 " " $4; next }
    {
        line = $1 " " ten[$1] " " one[$1]
        for (i = 2; i <= NF; i++) line = line " " $i
        print line
    }' ten.tmp one.tmp - > argyll_lab.txt
rm -f ten.tmp one.tmp

# The smooth synthetic curves at every nanometre, from the same formulas with i = (nm - 360) / 10.
exact=$(awk 'BEGIN {
    split("Grey50 Grey18 WhiteWarm SaturatedBlue GreenBand Magenta NarrowSpike580 Ramp10to80", names, " ")
    for (c = 1; c <= 8; c++) {
        line = names[c] " 0.0 0.0 0.0"
        for (nm = 360; nm <= 750; nm++) {
            i = (nm - 360) / 10
            if (c == 1) r = 50
            if (c == 2) r = 18
            if (c == 3) r = 90 + 0.1 * i
            if (c == 4) r = 4 + 66 * exp(-((nm - 450) / 25) ^ 2)
            if (c == 5) r = 5 + 60 * exp(-((nm - 530) / 30) ^ 2)
            if (c == 6) r = 3 + 70 * exp(-((nm - 420) / 30) ^ 2) + 80 * exp(-((nm - 700) / 60) ^ 2)
            if (c == 7) r = 2 + 90 * exp(-((nm - 580) / 10) ^ 2)
            if (c == 8) r = 10 + 70 * i / 39
            line = line " " sprintf("%.8f", r)
        }
        print line
    }
}')
write_ti3 reference_exact.ti3 "Tintara colorimetry exact curves at 1 nm" 1 "$exact"
spec2cie -n -i D65 -o 1964_10 reference_exact.ti3 argyll_exact_output.ti3

lab_of argyll_exact_output.ti3 > argyll_exact_lab.txt

echo "wrote $(wc -l < argyll_lab.txt) reference curves, $(wc -l < argyll_exact_lab.txt) exact ones"
