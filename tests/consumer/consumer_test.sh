#!/usr/bin/env bash
# Installs the build into a private prefix and builds the client programs of this folder
# (every .c file, main.c as "consumer") against it twice, through find_package(kyt) and
# through pkg-config, then runs them. Also checks that the shared library exports exactly
# the names of src/api/exports.txt.
# A client X.c is run by its driver, the first of tests/consumer/X.sh and tests/*/X_test.sh,
# as "bash DRIVER PROGRAM KYTADM"; a client without a driver is run alone and must exit 0.
# Usage: consumer_test.sh BUILD-DIR SOURCE-DIR [TOOLCHAIN-FILE]
set -eu
build=$1
src=$2
toolchain=${3:-}
runner=${KYT_RUNNER:-}
work=$(mktemp -d "${TMPDIR:-/tmp}/kytconsumer.XXXXXX")
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
want=$(grep -E '^[A-Za-z_][A-Za-z0-9_]*$' "$src/src/api/exports.txt" | sort)
if [ -n "$toolchain" ]; then
  dll=$prefix/bin/kyt.dll
  got=$(x86_64-w64-mingw32-objdump -p "$dll" |
        awk '/\[Ordinal\/Name Pointer\] Table/{t=1;next} t&&/^\t\[/{print $NF} t&&/^$/{t=0}' | sort)
  cc=x86_64-w64-mingw32-gcc-posix
  exe=.exe
else
  got=$(nm -D --defined-only "$prefix/lib/libkyt.so" | awk '$2=="T"{print $3}' | sort)
  cc=${CC:-cc}
  exe=
fi
if [ "$got" != "$want" ]; then
  printf 'exported names differ:\n%s\n--- expected:\n%s\n' "$got" "$want"
  exit 1
fi

if [ -n "$toolchain" ]; then
  # A cross build finds packages below its root path only: the prefix becomes one.
  where=(-DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_FIND_ROOT_PATH="$prefix" -DCMAKE_PREFIX_PATH=/)
else
  where=(-DCMAKE_PREFIX_PATH="$prefix")
fi
cmake -S "$src/tests/consumer" -B "$work/cm" -G Ninja "${where[@]}" >/dev/null
cmake --build "$work/cm" >/dev/null
mkdir -p "$work/pc"
flags=$(PKG_CONFIG_PATH= PKG_CONFIG_LIBDIR="$prefix/lib/pkgconfig" pkg-config --cflags --libs kyt)
clients=()
for c in "$src"/tests/consumer/*.c; do
  name=$(basename "$c" .c)
  [ "$name" == main ] && name=consumer
  $cc "$c" $flags -o "$work/pc/$name$exe"
  [ "$name" == consumer ] || clients+=("$name")
done

passed=0
for dir in "$work/cm" "$work/pc"; do
  if [ -n "$toolchain" ]; then
    cp "$dll" "$dir/"
    out=$($runner "$dir/consumer.exe" | tr -d '\r')
  else
    out=$(LD_LIBRARY_PATH="$prefix/lib" "$dir/consumer")
  fi
  [ "$out" == "kyt 5.7.16.0 rc=1" ] || { echo "unexpected output from $dir: $out"; exit 1; }
  passed=$((passed + 1))
  for name in "${clients[@]}"; do
    driver=
    for d in "$src/tests/consumer/$name.sh" "$src"/tests/*/"${name}_test.sh"; do
      [ -f "$d" ] && { driver=$d; break; }
    done
    if [ -n "$driver" ]; then
      LD_LIBRARY_PATH="$prefix/lib" bash "$driver" "$dir/$name$exe" "$prefix/bin/kytadm$exe" ||
        { echo "client $name failed ($dir)"; exit 1; }
    else
      LD_LIBRARY_PATH="$prefix/lib" ${runner:+$runner} "$dir/$name$exe" ||
        { echo "client $name failed ($dir)"; exit 1; }
    fi
    passed=$((passed + 1))
  done
done
echo "consumer: $passed passed, 0 failed"
