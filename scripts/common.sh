# For the scripts of this folder, ./demo and ./test: source it from the top of the tree.
set -Eeuo pipefail

# fail WHAT [WHAT TO DO]
fail() {
    echo "FAILED: $1" >&2
    [ $# -lt 2 ] || echo "        $2" >&2
    exit 1
}

# A command that nobody expected to fail still ends with a line.
trap 'fail "$(basename "$0"), line $LINENO: $BASH_COMMAND" "What the command said stands above, if it said anything."' ERR

# as_root COMMAND [ARGUMENT ...]: directly, or through sudo where that can be asked.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif may_become_root; then
        sudo "$@"
    else
        fail "this takes root: $*" "Run it as root, or as a user with sudo."
    fi
}

may_become_root() {
    [ "$(id -u)" -eq 0 ] || { command -v sudo >/dev/null && { sudo -n true 2>/dev/null || [ -t 0 ]; }; }
}
