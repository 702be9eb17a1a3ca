#!/usr/bin/env bash
# Fails when a source file includes from a layer it must not use, or core code includes Qt.
# Usage: Layering_test.sh SRC_DIR     (the tree's src/; every file below it is read)
#
# Each layer may include from itself and from the layers listed for it, nothing else:
#   workspace  -                               the state, its types and the file-writing routine
#   engine     workspace                       colorimetry and the correction engine
#   files      workspace engine                readers and writers of every file format
#   report     workspace engine                grids, reports, certificates as page descriptions
#                                              (the validation report lays out the engine's result)
#   app        workspace engine files report   the commands, one road per workflow
#   render     workspace report                draws page descriptions with Qt Gui
#   cli        ... app render                  the tintara tool; never the window
#   gui        ... app render                  the window; never the tool
set -u
src=${1:?usage: Layering_test.sh SRC_DIR}
[ -d "$src" ] || { echo "Layering_test.sh: $src is not a folder"; exit 2; }

declare -A allowed=(
    [workspace]="workspace"
    [engine]="engine workspace"
    [files]="files engine workspace"
    [report]="report engine workspace"
    [app]="app report files engine workspace"
    [render]="render report workspace"
    [cli]="cli render app report files engine workspace"
    [gui]="gui render app report files engine workspace"
)
core=" workspace engine files report app "

faults=0
while IFS= read -r -d '' file; do
    relative=${file#"$src"/}
    layer=${relative%%/*}
    if [ -z "${allowed[$layer]+set}" ]; then
        echo "$relative: the folder $layer is no known layer; add it to $0"
        faults=$((faults + 1))
    fi
done < <(find "$src" -type f \( -name '*.h' -o -name '*.cpp' \) -print0)
files=$(find "$src" -type f \( -name '*.h' -o -name '*.cpp' \) | wc -l)

# One grep over the tree: "file:line:text" of every include.
while IFS= read -r hit; do
    file=${hit%%:*}
    rest=${hit#*:}
    line=${rest%%:*}
    text=${rest#*:}
    relative=${file#"$src"/}
    layer=${relative%%/*}
    [ -n "${allowed[$layer]+set}" ] || continue
    if [[ $text =~ include[[:space:]]*\"([^\"/]+)/ ]]; then
        used=${BASH_REMATCH[1]}
        if [[ " ${allowed[$layer]} " != *" $used "* ]]; then
            echo "$relative:$line: $layer must not include from $used: $text"
            faults=$((faults + 1))
        fi
    elif [[ $text =~ include[[:space:]]*\<Q ]] && [[ $core == *" $layer "* ]]; then
        echo "$relative:$line: $layer is core code and must not include Qt: $text"
        faults=$((faults + 1))
    fi
done < <(grep -rnE --include='*.h' --include='*.cpp' '^[[:space:]]*#[[:space:]]*include' "$src" | sort)

if [ "$faults" -gt 0 ]; then
    echo "$faults include(s) against the layering in $files files"
    exit 1
fi
echo "layering kept: $files files"
