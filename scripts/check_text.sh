#!/usr/bin/env bash
# Format and text rules for every source file that git knows, or would add: clang-format 14 when it
# is installed (another version would format differently), no tabs or trailing blanks, a line end at
# the end of each file, and no unfinished marks without an issue number.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
failed=0
complain() {
    echo "$1"
    failed=1
}

if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    mapfile -t all < <(git ls-files --cached --others --exclude-standard)
else
    mapfile -t all < <(find . -path './build*' -prune -o -type f -print | sed 's,^\./,,')
fi
code=() text=()
for file in "${all[@]}"; do
    [ -f "$file" ] || continue
    case "$file" in
    *.cpp | *.h | *.c | *.def) code+=("$file") text+=("$file") ;;
    *.py | *.sh | *.ll | *.yy | *.cmake | */CMakeLists.txt | CMakeLists.txt | *.md | scripts/* | .ci/*)
        text+=("$file") ;;
    esac
done

if found=$(grep -nP '\t' "${text[@]}"); then complain "tabs:"$'\n'"$found"; fi
if found=$(grep -nP '[ \r]+$' "${text[@]}"); then complain "trailing blanks:"$'\n'"$found"; fi
# The marks are put together here so that this file does not find itself.
marks="TO""DO|FIX""ME|X""XX|HA""CK"
if found=$(grep -nP "\b($marks)\b(?!.*#[0-9])" "${text[@]}"); then
    complain "unfinished marks without an issue number:"$'\n'"$found"
fi
for file in "${text[@]}"; do
    [ ! -s "$file" ] || [ -z "$(tail -c 1 "$file")" ] || complain "no line end at the end of $file"
done

format=""
for name in clang-format-14 clang-format; do
    if command -v "$name" >/dev/null && "$name" --version | grep -q 'version 14\.'; then
        format=$name
        break
    fi
done
if [ -n "$format" ]; then
    # The option table is rows, one a line, and keeps its own shape. Only names are printed: the
    # remedy is the same for all of them.
    found=$(printf '%s\0' "${code[@]}" | grep -zv '\.def$' |
        xargs -0 -n 1 -P "$(nproc)" sh -c '"$0" --dry-run -Werror "$1" >/dev/null 2>&1 || echo "$1"' \
            "$format")
    [ -z "$found" ] || complain "run $format -i on:"$'\n'"$found"
else
    echo "clang-format 14 is not installed: format not checked"
fi
exit $failed
