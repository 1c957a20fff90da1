#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# What a compiler does not check: the format, which folder may include which, the licence line, and tests that cannot
# fail. Prints what it finds and exits 1. `tools/lint.sh --fix` formats.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
found=$(mktemp)
trap 'rm -f "$found"' EXIT

# files [FOLDER]...: our C++ files, tracked or new.
files() { git ls-files -co --exclude-standard -- "$@" | grep -E '\.(h|cpp)$' | while read -r f; do [ -f "$f" ] && echo "$f"; done || true; }

if [ "${1:-}" = --fix ]; then
  files . | xargs clang-format -i
fi

# refuse WHY PATTERN EXCEPT FOLDER...: includes that match PATTERN and not EXCEPT. Extended regular expressions.
refuse() {
  local why=$1 pattern=$2 except=$3
  shift 3
  files "$@" | xargs -r grep -HnE "^ *# *include +$pattern" | grep -vE "$except" | sed "s|^|$why: |" >>"$found" || true
}

nothing='^$'
inwards='[<"](velmora|platform)/'
standard='<[a-z_]+>'
refuse "velmora/ includes the standard library and platform/ only" '[<"]' "include +($inwards|$standard)" velmora
refuse "platform/ stands below the others" '"(drivers|velmora|apps|examples|tests)/' "$nothing" platform
refuse "a driver stands on platform/ alone" '"(velmora|apps|examples|tests)/' "$nothing" drivers
# What several drivers need lies above them.
shared='"drivers/[A-Z][A-Za-z]*\.h"'
for driver in drivers/*/; do
  refuse "drivers do not reach into each other" '"drivers/' "\"$driver|$shared" "$driver"
done
# Public headers name no library; .cpp files and their private headers do.
files platform velmora | grep '\.h$' | xargs -r grep -HnE '^ *# *include +[<"]' | grep -vE "include +($inwards|$standard)" \
  | sed "s|^|a header of platform/ or velmora/ names a library: |" >>"$found" || true

files . | while read -r file; do
  [ "$(head -n 1 "$file")" = "// SPDX-License-Identifier: Apache-2.0" ] || echo "the licence line is missing: $file:1"
  case $file in *.h) grep -q '^#pragma once' "$file" || echo "#pragma once is missing: $file:1" ;; esac
done >>"$found"

# A test case that asserts nothing passes whatever happens; one that waits for what must come does not.
files tests | xargs -r awk '
  FNR == 1 { inside = 0 }
  /^(TEST|TEST_F|TEST_P|TYPED_TEST)\(/ { inside = 1; asserts = 0; where = FILENAME ":" FNR ": " $0 }
  inside && /(EXPECT_|ASSERT_|static_assert|FAIL\(|ADD_FAILURE|expect[A-Z]|verify[A-Z]|check[A-Z]|\.wait\(\))/ { asserts = 1 }
  inside && /^}/ { if (!asserts) print "a test without an assertion: " where; inside = 0 }' >>"$found"

files . | xargs clang-format --dry-run -Werror 2>&1 | grep -E 'error:' >>"$found" || true

cat "$found"
[ ! -s "$found" ]
