# Sourced by the scripts here: the version, the publisher, and what makes a release the same whenever it is made.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
export LC_ALL=C.UTF-8 TZ=UTC
umask 022

say() { printf '== %s\n' "$*"; }
fail() {
    printf '\n!! %s\n' "$*" >&2
    exit 1
}

# A version other than the project's own is for tests of an upgrade.
version=${HARBINET_VERSION:-$(sed -nE 's/^project\(harbinet VERSION ([0-9.]+).*/\1/p' "$root/CMakeLists.txt")}
[ "$version" ] || fail "CMakeLists.txt names no version"
# Windows counts in four numbers.
# shellcheck disable=SC2034 # for the scripts that source this
version_four=$(cut -d. -f1-4 <<<"$version.0.0.0")
# The time that everything in a release bears, in seconds since 1970: the commit's.
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git -C "$root" log -1 --format=%ct)}

set -a
source "$root/packaging/publisher.env"
set +a

# fill FILE : the file with each @NAME@ replaced by the variable of that name; one that has none is an error.
fill() {
    VERSION=$version DATE=$(date -d "@$SOURCE_DATE_EPOCH" +%F) perl -pe \
        's/\@([A-Z][A-Z0-9_]*)\@/$ENV{$1} \/\/ die "$ARGV: nothing to put for $1\n"/ge' "$1"
}

windows_lines() { sed 's/\r*$/\r/'; }

# settle FOLDER : gives everything in it the release's time and plain rights.
settle() {
    find "$1" -type d -exec chmod 755 {} +
    find "$1" -type f -exec chmod 644 {} +
    find "$1" -depth -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
}

# make_zip ARCHIVE FOLDER : the files of the folder in the order of their names, without anything of this machine.
make_zip() {
    settle "$2"
    rm -f "$1"
    (cd "$2" && find . -type f -printf '%P\n' | LC_ALL=C sort | zip -X -D -9 -q "$1" -@)
}
