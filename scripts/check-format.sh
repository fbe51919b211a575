#!/usr/bin/env bash
# Fails, listing the files, when a tracked C or C++ file differs from what clang-format-14 makes
# of it with the tree's .clang-format. `--fix` rewrites those files instead.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
formatter=${CLANG_FORMAT:-clang-format-14}
command -v "$formatter" >/dev/null || { echo "check-format: $formatter not found (scripts/install-deps.sh installs it)" >&2; exit 1; }

mapfile -t files < <(git ls-files -- '*.c' '*.cc' '*.cpp' '*.h' '*.hpp' '*.mm')
if [[ ${1:-} == --fix ]]; then
    "$formatter" -i -- "${files[@]}"
    exit 0
fi

unformatted=()
for f in "${files[@]}"; do
    [[ -f $f ]] || continue
    cmp -s "$f" <("$formatter" -- "$f") || unformatted+=("$f")
done
if [[ ${#unformatted[@]} -ne 0 ]]; then
    echo "check-format: ${#unformatted[@]} file(s) not formatted; run 'bash scripts/check-format.sh --fix':" >&2
    printf '  %s\n' "${unformatted[@]}" >&2
    exit 1
fi
echo "check-format: ${#files[@]} files formatted"
