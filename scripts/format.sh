#!/usr/bin/env bash
# clang-format over every C++ file of the tree: "fix" rewrites them, "check"
# fails (and names the files) when one is not formatted.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=${1:-check}
mapfile -t files < <(git ls-files '*.cpp' '*.h' '*.hpp' '*.cc')
case "$mode" in
fix) clang-format -i "${files[@]}" ;;
check) clang-format --dry-run --Werror "${files[@]}" ;;
*) echo "usage: scripts/format.sh fix|check" >&2; exit 2 ;;
esac
