#!/bin/bash
# usage: hextool.sh HEXTOOL [ARGUMENT ...]
#
# Prints what hextool (or an emulator that runs it) says of images that are good and of each fault that one can have.
set -u
hextool=("$@")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2

# tool ARGUMENT...: runs it and tells what it said and how it ended.
tool() {
    echo "> hextool $*"
    "${hextool[@]}" "$@" 2>&1
    echo "status $?"
}

# check WHAT: the image on standard input, through a pipe.
check() {
    echo "== $1"
    cat | tool check /dev/stdin
}

# bytes NUMBER CHARACTER
bytes() { head -c "$1" /dev/zero | tr '\0' "$2"; }

# record BYTES ADDRESS: a data record of as many bytes 01, the address four hexadecimal digits.
record() {
    local sum=$(($1 + $1 + 0x${2:0:2} + 0x${2:2:2})) i
    printf ':%02X%s00' "$1" "$2"
    for ((i = 0; i < $1; ++i)); do printf '01'; done
    printf '%02X\n' $((-sum & 255))
}

echo "== converted, and filled up with zeros"
{ bytes 100 '\1'; bytes 20 '\377'; } >b.bin
tool convert b.bin i.hex
sed -n '1p;7,8p;513,$p' i.hex | tr '\r' '~'
bytes 8192 '\377' >b.bin
tool convert b.bin i.hex
tool convert b.bin /dev/full
bytes 8193 x >b.bin
tool convert b.bin big.hex
: >b.bin
tool convert b.bin no/i.hex
tool convert no.bin i.hex
tool check big.hex
tool convert . i.hex
tool check .
for words in "" "check" "check i.hex big.hex" "convert b.bin" "conver b.bin i.hex"; do
    tool $words | sed -n '1,2p;$p'
done
tool --version | sed 's/[0-9.]* (revision .*)/NUMBER (revision NUMBER)/'

bytes 8192 '\1' >b.bin
"${hextool[@]}" convert b.bin i.hex >said || cat said
tr -d '\r' <i.hex | head -n 512 >data
{ cat data; echo :00000001FF; } >good
first=$(head -n 1 data)

check "good" <good
{ cat data; record 16 2000; record 2 2010; echo :00000001FF; } | check "18 bytes more than the controller gets"
check "empty" <<<""
check "nothing" </dev/null
head -n 3 data | check "three records"
printf '%s\n\n' "$first" | check "an empty line"
sed '1s/^.//' good | check "no colon"
printf '%s\n:000000000\r\n' "$first" | check "too short"
echo :0000000001 | check "a checksum of nothing"
sed '1s/..$/00xx/' good | check "a wrong checksum, and more behind it"
sed '2s/^\(.\{9\}\)./\1G/' good | check "no digit"
sed '1s/^\(..\)./\1G/' good | check "no digit in the length, at its end"
sed '1s/^\(.\)./\1G/' good | check "no digit in the length, at its begin"
sed '1s/^:10/:11/' good | check "a byte too few"
printf '%s\n:00000001FF\n' "$first" | check "an end too early"
{ echo :020000040800F2; cat good; } | check "a record of another type"
sed 2d good | check "a gap"
{ echo "$first"; cat good; } | check "an overlap"
for address in 0000 0030 0060 0090; do record 48 $address; done | check "across a block's end"
{ head -n 511 data; record 32 1FF0; } | check "past the end"
printf '%-766s\n' "$first" | check "766 characters"
printf '%-766s\r\n' "$first" | check "767 characters"
{ echo "$first"; printf '%s\n%-767s' "$first" "$first"; } | check "767 characters on a line that is not read"
