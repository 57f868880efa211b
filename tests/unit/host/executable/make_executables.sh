#!/bin/bash
# Makes executables of two systems, with a property list inside and without.
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

clang -target x86_64-linux -c sample.c -o none-elf.o
tool llvm-objcopy --add-section "__info_plist=$list" none-elf.o list-objcopy.o
rm sample.*
