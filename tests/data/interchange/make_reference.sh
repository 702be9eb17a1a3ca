#!/bin/sh
# Regenerates the measurement files and ArgyllCMS results that tests/files/Interchange_test.cpp
# compares our import against. Real reflectances: the CIE 13.3 test colour samples of data/cie
# (5 nm, 0..1), taken in the shapes instruments write them:
#   tcs_hires.ti3          Argyll high-resolution mode: 380-730 nm in 105 steps of 3.333 nm, field
#                          names rounded (SPEC_383), exact wavelengths in SPECTRAL_BANDS,
#                          SPECTRAL_START_NM and SPECTRAL_END_NM; values between the 5 nm points
#                          by Sprague interpolation (CIE 15:2004) of the 5 nm table, in percent
#   tcs_20nm.ti3           380-740 nm by 20 nm (every fourth 5 nm value, no interpolation)
#   tcs_instrument.cxf     CxF3 as instrument software writes it: 400-700 nm by 10 nm (0..1),
#                          two measurement conditions (SCE listed first), a Lab-only object
# and spec2cie's D65 / 1964 10-degree L*a*b* of each (ArgyllCMS, Debian package "argyll"; the CxF
# through Argyll's cxf2ti3 first):
#   tcs_hires_argyll.txt, tcs_20nm_argyll.txt, tcs_instrument_argyll.txt
#                          one line per sample: name, L*, a*, b*
set -eu
here=$(cd "$(dirname "$0")" && pwd)
cie="$here/../../../data/cie/cie_test_colour_samples_5nm.csv"
cd "$here"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# lab_of FILE: one line per row of a spec2cie output file: sample, D65LAB_L, _A, _B.
lab_of() {
    awk -f "$here/../spec2cie_lab.awk" "$1"
}

# write_ti3 FILE BANDS START END NAMES ROWS
write_ti3() {
    {
        printf 'CTI3\n\nDESCRIPTOR "Argyll Calibration Target chart information 3"\n'
        printf 'ORIGINATOR "Argyll chartread"\nDEVICE_CLASS "OUTPUT"\nCOLOR_REP "RGB_XYZ"\n'
        printf 'KEYWORD "SPECTRAL_BANDS"\nSPECTRAL_BANDS "%s"\n' "$2"
        printf 'KEYWORD "SPECTRAL_START_NM"\nSPECTRAL_START_NM "%s"\n' "$3"
        printf 'KEYWORD "SPECTRAL_END_NM"\nSPECTRAL_END_NM "%s"\n' "$4"
        printf 'KEYWORD "SPECTRAL_NORM"\nSPECTRAL_NORM "100.000000"\n\n'
        printf 'NUMBER_OF_FIELDS %s\nBEGIN_DATA_FORMAT\nSAMPLE_ID RGB_R RGB_G RGB_B%s\nEND_DATA_FORMAT\n\n' \
            $(($2 + 4)) "$5"
        printf 'NUMBER_OF_SETS %s\nBEGIN_DATA\n' "$(printf '%s\n' "$6" | wc -l)"
        printf '%s\n' "$6"
        printf 'END_DATA\n'
    } > "$1"
}

# One line per sample: name, then the 95 values 360..830 nm by 5 nm (0..1).
samples=$(awk -F, 'NR > 2 && $1 ~ /^TCS/ { line = $1; for (i = 2; i <= NF; i++) line = line " " $i; print line }' "$cie")

# Hi-res: Sprague at fractional positions of the 5 nm grid.
hires=$(printf '%s\n' "$samples" | awk '
    function at(nm,    pos, j, x, q0, q1, q2, q3, q4, q5, a1, a2, a3, a4, a5) {
        pos = (nm - 360) / 5; j = int(pos); x = pos - j
        if (x < 1e-9) return f[j]
        q0 = p[j]; q1 = p[j + 1]; q2 = p[j + 2]; q3 = p[j + 3]; q4 = p[j + 4]; q5 = p[j + 5]
        a1 = (2 * q0 - 16 * q1 + 16 * q3 - 2 * q4) / 24
        a2 = (-q0 + 16 * q1 - 30 * q2 + 16 * q3 - q4) / 24
        a3 = (-9 * q0 + 39 * q1 - 70 * q2 + 66 * q3 - 33 * q4 + 7 * q5) / 24
        a4 = (13 * q0 - 64 * q1 + 126 * q2 - 124 * q3 + 61 * q4 - 12 * q5) / 24
        a5 = (-5 * q0 + 25 * q1 - 50 * q2 + 50 * q3 - 25 * q4 + 5 * q5) / 24
        return q2 + a1 * x + a2 * x^2 + a3 * x^3 + a4 * x^4 + a5 * x^5
    }
    {
        n = NF - 1
        for (i = 0; i < n; i++) f[i] = $(i + 2)
        p[0] = (884 * f[0] - 1960 * f[1] + 3033 * f[2] - 2648 * f[3] + 1080 * f[4] - 180 * f[5]) / 209
        p[1] = (508 * f[0] - 540 * f[1] + 488 * f[2] - 367 * f[3] + 144 * f[4] - 24 * f[5]) / 209
        for (i = 0; i < n; i++) p[i + 2] = f[i]
        line = $1 " 0.0 0.0 0.0"
        for (b = 0; b < 106; b++) line = line " " sprintf("%.6f", 100 * at(380 + b * 350 / 105))
        print line
    }')
names=$(awk 'BEGIN { for (b = 0; b < 106; b++) printf " SPEC_%d", int(380 + b * 350 / 105 + 0.5) }')
write_ti3 tcs_hires.ti3 106 380.000000 730.000000 "$names" "$hires"

twenty=$(printf '%s\n' "$samples" | awk '{
    line = $1 " 0.0 0.0 0.0"
    for (nm = 380; nm <= 740; nm += 20) line = line " " sprintf("%.6f", 100 * $((nm - 360) / 5 + 2))
    print line }')
names=$(awk 'BEGIN { for (nm = 380; nm <= 740; nm += 20) printf " SPEC_%d", nm }')
write_ti3 tcs_20nm.ti3 19 380.000000 740.000000 "$names" "$twenty"

# CxF3 in the shape instrument software writes: prefix cc, file information, per object a
# creation date, the spectra of both conditions and the L*a*b* it computed; SCE first.
printf '%s\n' "$samples" | awk '
    function spectrum(    nm, s) {
        s = ""
        for (nm = 400; nm <= 700; nm += 10) s = s (nm > 400 ? " " : "") $((nm - 360) / 5 + 2)
        return s
    }
    BEGIN {
        print "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>"
        print "<cc:CxF xmlns:cc=\"http://colorexchangeformat.com/CxF3-core\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">"
        print "  <cc:FileInformation>"
        print "    <cc:Creator>Instrument software 2.1</cc:Creator>"
        print "    <cc:CreationDate>2024-03-04T10:12:55Z</cc:CreationDate>"
        print "    <cc:Description>Tile set reading</cc:Description>"
        print "  </cc:FileInformation>"
        print "  <cc:Resources>"
        print "    <cc:ObjectCollection>"
    }
    {
        printf "      <cc:Object ObjectType=\"Target\" Name=\"%s\" Id=\"%d\" GUID=\"00000000-0000-0000-0000-%012d\">\n", $1, NR, NR
        print "        <cc:CreationDate>2024-03-04T10:12:55Z</cc:CreationDate>"
        print "        <cc:ColorValues>"
        printf "          <cc:ReflectanceSpectrum ColorSpecification=\"CS_M0_SCE\" Name=\"%s\">%s</cc:ReflectanceSpectrum>\n", $1, spectrum()
        printf "          <cc:ReflectanceSpectrum ColorSpecification=\"CS_M0_SCI\" Name=\"%s\">%s</cc:ReflectanceSpectrum>\n", $1, spectrum()
        print "          <cc:ColorCIELab ColorSpecification=\"CS_D50_2\"><cc:L>50</cc:L><cc:A>0</cc:A><cc:B>0</cc:B></cc:ColorCIELab>"
        print "        </cc:ColorValues>"
        print "      </cc:Object>"
    }
    END {
        print "      <cc:Object ObjectType=\"Standard\" Name=\"Lab only\" Id=\"99\">"
        print "        <cc:ColorValues><cc:ColorCIELab ColorSpecification=\"CS_D50_2\"><cc:L>50</cc:L><cc:A>1</cc:A><cc:B>2</cc:B></cc:ColorCIELab></cc:ColorValues>"
        print "      </cc:Object>"
        print "    </cc:ObjectCollection>"
        print "    <cc:ColorSpecificationCollection>"
        split("SCE Excluded SCI Included", g, " ")
        for (k = 1; k <= 3; k += 2) {
            printf "      <cc:ColorSpecification Id=\"CS_M0_%s\">\n", g[k]
            print "        <cc:TristimulusSpec><cc:Illuminant>D50</cc:Illuminant><cc:Observer>2_Degree</cc:Observer><cc:Method>E308</cc:Method></cc:TristimulusSpec>"
            print "        <cc:MeasurementSpec>"
            print "          <cc:MeasurementType>Spectrum_Reflectance</cc:MeasurementType>"
            printf "          <cc:GeometryChoice><cc:SphereGeometry><cc:SphereGeometryConfiguration>Specular_%s</cc:SphereGeometryConfiguration></cc:SphereGeometry></cc:GeometryChoice>\n", g[k + 1]
            print "          <cc:WavelengthRange StartWL=\"400\" Increment=\"10\"/>"
            print "          <cc:CalibrationStandard>XRGA</cc:CalibrationStandard>"
            print "          <cc:Device><cc:Model>Sphere instrument</cc:Model><cc:SerialNumber>1001234</cc:SerialNumber></cc:Device>"
            print "        </cc:MeasurementSpec>"
            print "      </cc:ColorSpecification>"
        }
        print "      <cc:ColorSpecification Id=\"CS_D50_2\"><cc:TristimulusSpec><cc:Illuminant>D50</cc:Illuminant><cc:Observer>2_Degree</cc:Observer><cc:Method>E308</cc:Method></cc:TristimulusSpec></cc:ColorSpecification>"
        print "    </cc:ColorSpecificationCollection>"
        print "    <cc:CustomResources><vendor:Job xmlns:vendor=\"urn:example:vendor\" Number=\"17\"/></cc:CustomResources>"
        print "  </cc:Resources>"
        print "</cc:CxF>"
    }' > tcs_instrument.cxf

spec2cie -n -i D65 -o 1964_10 tcs_hires.ti3 "$tmp/hires.ti3"
lab_of "$tmp/hires.ti3" > tcs_hires_argyll.txt
spec2cie -n -i D65 -o 1964_10 tcs_20nm.ti3 "$tmp/20nm.ti3"
lab_of "$tmp/20nm.ti3" > tcs_20nm_argyll.txt
# cxf2ti3 writes a CGATS.17 file (SAMPLE_ID SAMPLE_LOC LAB_L LAB_A LAB_B SPEC_400 ..) that
# spec2cie does not take as it is (and whose all-integer columns it refuses as not "float"); its
# spectra go into a CTI3 file like the others, written with decimals. The Lab-only
# object (which cxf2ti3 gives the spectrum of the object before it) is left out.
(cd "$tmp" && cxf2ti3 "$here/tcs_instrument.cxf" cxf > cxf2ti3.log 2>&1) || { cat "$tmp/cxf2ti3.log"; exit 1; }
rows=$(awk '/^[0-9]+ "TCS/ { line = $2 " 0.0 0.0 0.0"; gsub(/"/, "", line)
                             for (i = 6; i <= NF; i++) line = line " " sprintf("%.4f", $i); print line }' "$tmp/cxf.cie")
names=$(awk 'BEGIN { for (nm = 400; nm <= 700; nm += 10) printf " SPEC_%d", nm }')
write_ti3 "$tmp/cxf.ti3" 31 400.000000 700.000000 "$names" "$rows"
spec2cie -n -i D65 -o 1964_10 "$tmp/cxf.ti3" "$tmp/cxf_out.ti3"
lab_of "$tmp/cxf_out.ti3" > tcs_instrument_argyll.txt
echo "wrote $(wc -l < tcs_hires_argyll.txt) hi-res, $(wc -l < tcs_20nm_argyll.txt) 20 nm and $(wc -l < tcs_instrument_argyll.txt) CxF results"
