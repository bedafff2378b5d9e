#!/usr/bin/env bash
# Checks the include direction between the folders of src/ against scripts/layers.txt: every
# #include "..." of a file under src/ names a header of its own folder, of a lower folder, or
# Export.h, or is listed there as an exception. Also fails on listed exceptions that no longer
# occur, and on a hook filled somewhere the table does not say. Prints each offence; exit 1 if any.
set -euo pipefail
root=$(cd "${1:-$(dirname "$0")/..}" && pwd)
table="$root/scripts/layers.txt"
cd "$root"

section=""
declare -A rank=()
declare -A allowed=()
declare -A used=()
declare -A hooked=()
n=0
while IFS= read -r line; do
    line="${line%%#*}"
    line="$(echo "$line" | sed -E 's/[[:space:]]+$//')"
    [ -z "$line" ] && continue
    case "$line" in
        "[layers]"|"[exceptions]"|"[hooks]") section="$line"; continue ;;
    esac
    case "$section" in
        "[layers]") rank["$(echo "$line" | awk '{print $1}')"]=$n; n=$((n + 1)) ;;
        "[exceptions]")
            key="$(echo "$line" | sed -E 's/[[:space:]]*:.*$//')"
            [[ "$line" == *" : "?* ]] || { echo "layers.txt: exception without a reason: $line"; exit 1; }
            allowed["$key"]=1 ;;
        "[hooks]")
            var="$(echo "$line" | awk '{print $1}' | sed 's/^detail:://')"
            file="$(echo "$line" | sed -E 's/.*<- *([^ ]+) *:.*/\1/')"
            hooked["$var|src/$file"]=1 ;;
    esac
done < "$table"

bad=0
while IFS= read -r file; do
    dir="$(dirname "${file#src/}")"
    [ "$dir" = "." ] && continue
    [ -n "${rank[$dir]+x}" ] || { echo "$file: folder '$dir' is not in scripts/layers.txt"; bad=1; continue; }
    while IFS= read -r inc; do
        incdir="$(dirname "$inc")"
        [ "$incdir" = "." ] && continue
        if [ -z "${rank[$incdir]+x}" ]; then
            echo "$file: includes $inc from a folder not in scripts/layers.txt"; bad=1; continue
        fi
        if [ "${rank[$incdir]}" -gt "${rank[$dir]}" ]; then
            if [ -n "${allowed["$file -> $inc"]+x}" ]; then
                used["$file -> $inc"]=1
            else
                echo "$file: includes $inc, which lies above '$dir' (list it in scripts/layers.txt with its reason, or move the code)"
                bad=1
            fi
        fi
    done < <(grep -oE '^[[:space:]]*#[[:space:]]*include[[:space:]]+"[^"]+"' "$file" | sed -E 's/.*"([^"]+)"/\1/')
done < <(find src -name '*.h' -o -name '*.cpp' | sort)

for key in "${!allowed[@]}"; do
    [ -n "${used[$key]+x}" ] || { echo "scripts/layers.txt: exception no longer needed: $key"; bad=1; }
done

# Every assignment to a detail:: hook variable must be listed with the file that makes it.
while IFS=: read -r file text; do
    var="$(echo "$text" | sed -E 's/^detail::(g[A-Za-z]+).*/\1/')"
    [ -n "${hooked["$var|$file"]+x}" ] || { echo "$file: fills hook $var, which scripts/layers.txt does not list for this file"; bad=1; }
done < <(grep -roE 'detail::g[A-Za-z]+(\.[a-z]+)?[[:space:]]*=[^=]' src --include='*.cpp')

[ "$bad" = 0 ] && echo "include layers: all includes point down or are listed"
exit "$bad"
