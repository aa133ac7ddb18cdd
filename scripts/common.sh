# For the scripts of this folder, ./demo and ./test: source it from the top of the tree.
set -Eeuo pipefail
script=$(readlink -f "$0")

# fail WHAT [WHAT TO DO]; where nothing better is known, what to do is $advice.
advice=
fail() {
    local what_to_do=${2:-$advice}
    echo "FAILED: $1" >&2
    [ -z "$what_to_do" ] || echo "        $what_to_do" >&2
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

# enter_fresh_root ARCHITECTURE PACKAGES [ARGUMENT ...]: makes a fresh root, starts the calling script again with
# the arguments, in namespaces of its own and with the root in $root, and ends with its status. Whatever ends
# the script, no process, mount or file of it is left.
enter_fresh_root() {
    local architecture=$1 packages=$2
    shift 2
    make_root
    scripts/fresh-root "$made_root" "$architecture" "$packages"
    enter_made_root "$@"
}

# Its two halves, for a root that is filled in another way: an empty one in $made_root, and the start in it.
make_root() {
    [ "$(id -u)" -eq 0 ] || fail "a fresh root takes root to make" "Run it as root or with sudo."
    made_root=$(mktemp -d /var/tmp/fwstatus-root.XXXXXX)
    trap 'rm -rf "$made_root"' EXIT
}

enter_made_root() {
    local status=0
    root=$made_root unshare --mount --pid --fork --kill-child "$script" "$@" || status=$?
    exit "$status"
}

# The mounts of a fresh root; to be called in the namespaces.
mount_fresh_root() {
    mount -t proc proc "$root/proc"
    mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts"
    cp /etc/resolv.conf /etc/hosts "$root/etc/"
}
