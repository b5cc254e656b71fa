# shellcheck shell=bash
# What the scripts share. Sourced by them, never run.

script_path=$(readlink -f -- "$0")
project_root=$(readlink -f -- "$(dirname -- "${BASH_SOURCE[0]}")/../..")
export LC_ALL=C.UTF-8

fail() {
    printf '%s: %s\n' "$(basename -- "$script_path")" "$*" >&2
    exit 1
}

# A script's first block of comments is its help text.
show_help() {
    sed -n '2,$ { /^#/!q; s/^# \{0,1\}//; p; }' "$script_path"
}

refuse_argument() {
    printf '%s: unknown argument %q\n\n' "$(basename -- "$script_path")" "$1" >&2
    show_help >&2
    exit 2
}

# Accounts made for services have no home folder, but the compiler cache and Qt want one.
ensure_home() {
    if [[ ! -d ${HOME:-} || ! -w ${HOME:-} ]]; then
        export HOME=$project_root/build/home
        mkdir -p -- "$HOME"
    fi
}

# The C++ sources that are the project's own, NUL-separated, relative to its root. Asks no git: an exported tree has none.
project_sources() {
    (cd -- "$project_root" && find . -path ./build -prune -o -path ./.git -prune -o \
        -type f \( -name '*.cpp' -o -name '*.h' \) -printf '%P\0' | sort -z)
}

# rerun_as_ordinary_user RESULTS ARGUMENT...: started by root, runs the calling script again without root's powers and
# ends with its exit code; started by anybody else, does nothing. Programs refuse to run as root, and so do some tests of
# permissions. RESULTS names folders (relative to the project, separated by blanks) that must be in the working tree
# afterwards, however the script was run.
rerun_as_ordinary_user() {
    local results=$1
    shift
    [[ $EUID -eq 0 ]] || return 0
    [[ -z ${VOK_ORDINARY_USER:-} ]] || fail "still root after giving root up"
    export VOK_ORDINARY_USER=1

    # A user namespace needs no account and leaves root's files readable and writable. Whether the system grants one, and
    # whether the tree belongs to root at all, is told by nothing but the attempt.
    local namespace=(unshare --user --map-user=1000 --map-group=1000 --)
    # shellcheck disable=SC2016 # $1 is for the inner shell
    if "${namespace[@]}" bash -c \
        'mkdir -p -- "$1" && touch -- "$1/.probe" && rm -- "$1/.probe"' bash "$project_root/build" 2>/dev/null; then
        exec "${namespace[@]}" "$script_path" "$@"
    fi
    run_copy_as_nobody "$results" "$@"
}

run_copy_as_nobody() {
    local results=$1 status=0
    shift
    local relative_script=${script_path#"$project_root"/}
    copied_tree=$(mktemp -d /var/tmp/vok-launcher.XXXXXX)
    trap 'rm -rf -- "$copied_tree"' EXIT
    mkdir -- "$copied_tree/home" "$copied_tree/tree"
    tar -C "$project_root" --exclude=./build --exclude=./.git -cf - . | tar -C "$copied_tree/tree" --no-same-owner -xf -
    chown -R nobody:nogroup "$copied_tree"

    printf '%s: no user namespace here, running a copy of the tree as nobody\n' "$(basename -- "$script_path")" >&2
    (
        cd -- "$copied_tree/tree"
        unset TMPDIR CCACHE_DIR XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME XDG_STATE_HOME XDG_RUNTIME_DIR
        HOME=$copied_tree/home setpriv --reuid=nobody --regid=nogroup --clear-groups -- "./$relative_script" "$@"
    ) || status=$?

    local folder
    for folder in $results; do
        if [[ -d $copied_tree/tree/$folder ]]; then
            mkdir -p -- "$project_root/$folder"
            tar -C "$copied_tree/tree/$folder" -cf - . | tar -C "$project_root/$folder" --no-same-owner -xf -
        fi
    done
    exit "$status"
}
