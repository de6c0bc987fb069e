#!/bin/sh
# Prints the lines of code and of tests that are not blank, and their ratio.
set -eu
cd "$(dirname "$0")/.."
lines() { grep -E '\.(cpp|hpp|c|py|sh)$' | xargs -r cat | grep -cvE '^[[:space:]]*$' || true; }
is_test='^tests/|^tools/tests/|(^|/)test_[^/]*\.py$'
code=$(git ls-files src tools bench | grep -vE "$is_test" | lines)
tests=$(git ls-files | grep -E "$is_test" | lines)
permille=$((1000 * tests / code))
echo "code $code lines, tests $tests lines: $((permille / 10)).$((permille % 10)) %"
