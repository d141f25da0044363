#!/usr/bin/env bash
# format.sh [--check]: gives every source of the tree its format, or only says which have another (.clang-format).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mode=(-i)
[ "${1:-}" = --check ] && mode=(--dry-run -Werror)
find src tests bench -name '*.cpp' -print0 -o -name '*.h' -print0 | xargs -0 -n 8 -P "$(nproc)" clang-format "${mode[@]}"
