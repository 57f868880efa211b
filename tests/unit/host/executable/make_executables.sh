#!/bin/bash
# Makes executables of several systems and processors, with a property list inside and without.
# make_executables.sh LIST FOLDER
set -euo pipefail
list=$1 folder=$2
mkdir -p "$folder"
cd "$folder"
rm -f ./*

# The tools that came with clang.
tool() { "$(clang -print-prog-name="$1")" "${@:2}"; }

echo 'int sample(void) { return 1; }' >sample.c
for arch in arm64 x86_64; do
    clang -target "$arch-apple-macos11" -c sample.c -o sample.o
    link=(-dylib -arch "$arch" -platform_version macos 11.0 11.0 sample.o)
    tool ld64.lld "${link[@]}" -sectcreate __TEXT __info_plist "$list" -o "list-macho-$arch"
    tool ld64.lld "${link[@]}" -o "none-macho-$arch"
done
tool llvm-lipo -create list-macho-x86_64 list-macho-arm64 -output list-universal
tool llvm-lipo -create none-macho-x86_64 list-macho-arm64 -output list-universal-second
tool llvm-lipo -create none-macho-x86_64 none-macho-arm64 -output none-universal

for target in i386-apple-macos10.13:__TEXT,__info_plist i386-linux:__info_plist,\"a\" \
    powerpc-linux:__info_plist,\"a\" s390x-linux:__info_plist,\"a\"; do
    printf '.text\n.section %s\n.incbin "%s"\n' "${target#*:}" "$list" |
        clang -target "${target%%:*}" -c -x assembler - -o "list-${target%%:*}.o"
done
clang -target x86_64-linux -c sample.c -o none-elf.o
tool llvm-objcopy --add-section "__info_plist=$list" none-elf.o list-objcopy.o
rm sample.*
