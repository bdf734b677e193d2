#!/usr/bin/env bash
# The test budget: non-blank lines of tests/ and fuzz/ (.cpp .h .hpp .qml .js .py) against
# those of the product (every tracked .cpp .h .hpp .qml .js file outside tests/, bench/,
# fuzz/ and tools/). The tests may hold at most half as many; exits 1 when they hold more.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# count PATHSPEC...: non-blank lines of the tracked files that match.
count() {
    git ls-files -z -- "$@" | xargs -0 -r cat | grep -cv '^[[:space:]]*$' || true
}

tests=$(count 'tests/*.'{cpp,h,hpp,qml,js,py} 'fuzz/*.'{cpp,h,hpp,qml,js,py})
product=$(count '*.'{cpp,h,hpp,qml,js} ':!tests/' ':!bench/' ':!fuzz/' ':!tools/')
percent=$(awk -v t="$tests" -v p="$product" 'BEGIN { printf "%.1f", p ? 100 * t / p : 0 }')
echo "tests and fuzzers: $tests non-blank lines"
echo "product:           $product non-blank lines"
echo "ratio:             $percent% (at most 50%)"
[ $((tests * 2)) -le "$product" ]
