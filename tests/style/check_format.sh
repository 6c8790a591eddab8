#!/usr/bin/env bash
# check_format.sh CLANG_FORMAT ROOT: every source stands as .clang-format says.
set -euo pipefail
cd "$2"
find . \( -name build -o -name .git \) -prune -o \( -name '*.h' -o -name '*.cpp' \) -print0 |
  xargs -0 "$1" --dry-run -Werror
