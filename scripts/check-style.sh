#!/usr/bin/env bash
# Checks all sources against .clang-format and, with --tidy, against .clang-tidy, which takes some
# ten minutes and needs build/release.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

mapfile -t sources < <(git ls-files '*.h' '*.cpp' '*.c')
[ ${#sources[@]} -gt 0 ] || { echo "check-style: Git names no sources" >&2; exit 1; }
echo "clang-format: ${#sources[@]} files"
clang-format-14 --dry-run --Werror "${sources[@]}"

[ "${1:-}" = --tidy ] || exit 0

# Windows' own files, the tests and the benchmarks are not in the release build's database.
mapfile -t units < <(git ls-files '*.cpp' ':!platform/windows' ':!platform/simulated/windows' \
    ':!tests' ':!benchmarks')
echo "clang-tidy: ${#units[@]} files"
# Clang does not read another compiler's precompiled headers.
mkdir -p build/tidy
sed 's/-Winvalid-pch//; s/-include [^ ]*cmake_pch.hxx//' build/release/compile_commands.json \
    >build/tidy/compile_commands.json
printf '%s\n' "${units[@]}" |
    xargs -P "$(nproc)" -n 4 clang-tidy-14 --quiet -p build/tidy 2>/dev/null
