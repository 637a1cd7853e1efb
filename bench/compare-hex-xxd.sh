#!/bin/sh
# Times the hex listing of the command-line companion against xxd on the same
# 1 MB file of random bytes (a PRG: the first two bytes are its load address)
# and prints both. Uses hyperfine when it is installed, otherwise the best of
# several runs timed with date +%s%N.
#   bench/compare-hex-xxd.sh [BUILD_DIR] [RUNS]   (defaults: build, 15)
set -eu

build=${1:-build}
runs=${2:-15}
cli="$build/quillmarfe-cli"
if [ ! -x "$cli" ]; then
    echo "compare-hex-xxd: $cli not found (build the quillmarfe-cli target first)" >&2
    exit 2
fi
if ! command -v xxd >/dev/null 2>&1; then
    echo "compare-hex-xxd: xxd not found" >&2
    exit 2
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/compare-hex-xxd.XXXXXX")
trap 'rm -rf "$work"' EXIT
file="$work/random.prg"
head -c 1048576 /dev/urandom > "$file"

if command -v hyperfine >/dev/null 2>&1; then
    hyperfine --warmup 3 --runs "$runs" \
        -n quillmarfe-cli "$cli hex $file > /dev/null" \
        -n xxd "xxd $file > /dev/null"
    exit 0
fi

# Best (lowest) wall time in microseconds of $runs runs of the command.
best_of() {
    best=
    i=0
    while [ "$i" -lt "$runs" ]; do
        start=$(date +%s%N)
        "$@" > /dev/null
        end=$(date +%s%N)
        took=$(( (end - start) / 1000 ))
        if [ -z "$best" ] || [ "$took" -lt "$best" ]; then
            best=$took
        fi
        i=$((i + 1))
    done
    echo "$best"
}

"$cli" hex "$file" > /dev/null  # warm the caches
xxd "$file" > /dev/null
cli_us=$(best_of "$cli" hex "$file")
xxd_us=$(best_of xxd "$file")
echo "1 MB hex listing, best of $runs runs:"
printf '  quillmarfe-cli hex: %d.%03d ms\n' $((cli_us / 1000)) $((cli_us % 1000))
printf '  xxd:                %d.%03d ms\n' $((xxd_us / 1000)) $((xxd_us % 1000))
printf '  ratio cli / xxd:    %s\n' "$(awk "BEGIN { printf \"%.2f\", $cli_us / $xxd_us }")"
