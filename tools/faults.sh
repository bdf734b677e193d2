#!/usr/bin/env bash
# Plants the deliberate faults of tools/faults.txt, one at a time, in a scratch clone of
# the committed HEAD: applies one, rebuilds, runs every test through ctest, notes which
# tests failed, puts the file back. At the end it prints a table: each fault caught (and
# by which tests) or missed. A fault met only by a test's time-out is "weak": that test
# should fail fast instead.
#
#   tools/faults.sh [NAME...]    only the faults named
#   OSC_FAULTS_DIR=DIR           the scratch folder (default build-faults/); kept, so that
#                                a later run rebuilds incrementally
#   OSC_FAULTS_SANITIZE=1        the clang AddressSanitizer/UBSan build with the fuzzers
#                                (10 s each) instead of the plain gcc build
# Each fault's build and ctest output is kept in the scratch folder's logs/<commit>/.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

faults_file="$ROOT/tools/faults.txt"
scratch="${OSC_FAULTS_DIR:-$ROOT/build-faults}"
src="$scratch/src"

die() { echo "faults.sh: $*" >&2; exit 1; }

# tools/faults.txt: blocks of name, file, find and replace lines.
names=() files=() finds=() replaces=()
keys=(name file find replace)
field=0
number=0
while IFS= read -r line || [ -n "$line" ]; do
    number=$((number + 1))
    case "$line" in '' | '#'*) continue ;; esac
    key="${keys[$field]}"
    case "$line" in
        "$key: "* | "$key:") value="${line#"$key:"}"; value="${value# }" ;;
        *) die "tools/faults.txt line $number: expected '$key: ...', got: $line" ;;
    esac
    case "$key" in
        name) names+=("$value") ;;
        file) files+=("$value") ;;
        find) [ -n "$value" ] || die "tools/faults.txt line $number: empty find"; finds+=("$value") ;;
        replace) replaces+=("$value") ;;
    esac
    field=$(((field + 1) % 4))
done <"$faults_file"
[ "$field" -eq 0 ] || die "tools/faults.txt: the last fault is incomplete"

selected=()
if [ $# -eq 0 ]; then
    selected=("${!names[@]}")
else
    for wanted in "$@"; do
        found=""
        for i in "${!names[@]}"; do
            [ "${names[$i]}" = "$wanted" ] && found="$i"
        done
        [ -n "$found" ] || die "no fault named $wanted in tools/faults.txt"
        selected+=("$found")
    done
fi

# The scratch clone, at the committed HEAD of this checkout.
head="$(git -C "$ROOT" rev-parse HEAD)"
logs="$scratch/logs/${head:0:12}"
if ! git -C "$ROOT" diff --quiet HEAD -- . ':!tools/faults.txt' ':!tools/faults.sh'; then
    echo "Note: uncommitted changes are not part of the run; the faults go into HEAD $head"
fi
mkdir -p "$scratch" "$logs"
[ -d "$src/.git" ] || git clone -q --no-local "$ROOT" "$src"
git -C "$src" fetch -q "$ROOT" HEAD
git -C "$src" checkout -q --force --detach FETCH_HEAD
[ "$(git -C "$src" rev-parse HEAD)" = "$head" ] || die "the scratch clone is not at $head"

# count_in FILE TEXT: how many times TEXT occurs in FILE (0, 1 or 2 meaning "more").
count_in() {
    local content rest
    content="$(cat "$1"; printf x)"
    content="${content%x}"
    rest="${content#*"$2"}"
    if [ "$rest" = "$content" ]; then echo 0
    elif [[ "$rest" == *"$2"* ]]; then echo 2
    else echo 1
    fi
}

# apply FILE FIND REPLACE: the one occurrence of FIND in FILE becomes REPLACE.
apply() {
    local content
    content="$(cat "$1"; printf x)"
    content="${content%x}"
    printf '%s' "${content%%"$2"*}$3${content#*"$2"}" >"$1"
}

# Every fault must find its text exactly once before anything is built.
for i in "${selected[@]}"; do
    path="$src/${files[$i]}"
    [ -f "$path" ] || die "${names[$i]}: no file ${files[$i]}"
    case "$(count_in "$path" "${finds[$i]}")" in
        0) die "${names[$i]}: text not found in ${files[$i]}: ${finds[$i]}" ;;
        2) die "${names[$i]}: text found more than once in ${files[$i]}: ${finds[$i]}" ;;
    esac
done

if [ "${OSC_FAULTS_SANITIZE:-0}" = 1 ]; then
    build_dir="$scratch/build-sanitize"
    CC=clang CXX=clang++ cmake -S "$src" -B "$build_dir" -G Ninja -DOSC_BENCH=OFF -DOSC_SANITIZE=ON \
        -DOSC_FUZZ=ON -DOSC_FUZZ_SECONDS=10 >/dev/null
    sanitizer_environment
else
    build_dir="$scratch/build"
    CC=gcc CXX=g++ cmake -S "$src" -B "$build_dir" -G Ninja -DOSC_BENCH=OFF >/dev/null
fi

# As root, ctest runs in a network namespace of its own: other programs on the machine
# that use the device's ports 9000 and 9001 neither disturb the results nor are disturbed.
isolated=("${ISOLATED[@]}")

# run_tests NAME: builds and runs ctest; prints "build-failed", or one line per failed
# test: its name, then "timeout" when ctest stopped it.
run_tests() {
    if ! cmake --build "$build_dir" --parallel 2 >"$logs/$1.build.log" 2>&1; then
        echo build-failed
        return
    fi
    (cd "$build_dir" && "${isolated[@]}" ctest -j2 --timeout 60 --output-on-failure >"$logs/$1.log" 2>&1) || true
    # ctest marks every outcome but a pass with "***": Failed, Timeout, Exception (a crash)...
    sed -nE 's/^ *[0-9]+\/[0-9]+ +Test +#[0-9]+: ([^ ]+) .*\*\*\*(Timeout)?.*/\1 \2/p' "$logs/$1.log" \
        | sed -e 's/ Timeout$/ timeout/' -e 's/ $//'
}

current=""
restore() {
    [ -n "$current" ] && git -C "$src" checkout -q -- "$current"
    current=""
}
trap restore EXIT

echo "Building and testing the unchanged tree in $build_dir"
baseline="$(run_tests unchanged)"
[ -z "$baseline" ] || die "the unchanged tree does not pass; see $logs/unchanged.log: $(echo $baseline)"

results=()
for i in "${selected[@]}"; do
    name="${names[$i]}"
    echo "[$name] ${files[$i]}"
    current="${files[$i]}"
    apply "$src/${files[$i]}" "${finds[$i]}" "${replaces[$i]}"
    failed="$(run_tests "$name")"
    restore
    if [ "$failed" = build-failed ]; then
        result="NO BUILD"
        by="see $logs/$name.build.log"
    elif [ -z "$failed" ]; then
        result="missed"
        by=""
    else
        by="$(echo "$failed" | sed 's/ timeout$/ (timeout)/' | paste -sd, - | sed 's/,/, /g')"
        if echo "$failed" | grep -qv ' timeout$'; then result="caught"; else result="WEAK"; fi
    fi
    results+=("$(printf '%-38s %-8s %s' "$name" "$result" "$by")")
done

echo
printf '%-38s %-8s %s\n' "Fault" "Result" "Failing tests"
printf '%s\n' "${results[@]}"
caught="$(printf '%s\n' "${results[@]}" | awk '$2 == "caught"' | wc -l)"
echo
echo "Caught $caught of ${#results[@]}."
if printf '%s\n' "${results[@]}" | grep -q 'timeout'; then
    echo "Faults that made a test run into ctest's time-out (such a test should fail fast):"
    printf '%s\n' "${results[@]}" | grep 'timeout' | sed 's/^/  /'
fi
if printf '%s\n' "${results[@]}" | grep -q 'NO BUILD'; then
    die "some faults do not build: fix tools/faults.txt"
fi
