# One line per row of a spec2cie output file: the sample (SAMPLE_LOC when there is one, else the
# first field), D65LAB_L, D65LAB_A, D65LAB_B. Used by the make_reference.sh scripts.
/^BEGIN_DATA_FORMAT/ { getline header; nf = split(header, names, " "); next }
/^BEGIN_DATA$/ { inData = 1; next }
/^END_DATA$/ { inData = 0; next }
inData {
    for (i = 1; i <= nf; i++) col[names[i]] = $i
    name = ("SAMPLE_LOC" in col) ? col["SAMPLE_LOC"] : $1
    gsub(/"/, "", name)
    print name, col["D65LAB_L"], col["D65LAB_A"], col["D65LAB_B"]
}
