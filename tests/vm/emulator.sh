# shellcheck shell=bash disable=SC2154  # names that scripts/test-vm.sh defines
# Builds the emulator of the virtual machine: the distribution's QEMU source package with drives that take firmware
# (qemu/). Sourced by scripts/test-vm.sh, which defines say, impossible, root and vm.

# Fetches the source package once: remove the folder to fetch a newer one.
fetch_emulator_source() {
  local source=$1 apt=$vm/apt/sources
  ! compgen -G "$source/*.dsc" >/dev/null || return 0
  say "fetching the emulator's source"
  rm -rf "$source"
  mkdir -p "$source"
  open_private_apt "$apt" deb-src "" || impossible "the distribution's source packages are not available here"
  (cd "$source" && private_apt "$apt" apt-get source --download-only -qq qemu) ||
    impossible "the source package qemu is not available here"
  compgen -G "$source/qemu_7.2+*.dsc" >/dev/null || impossible "the patch is for QEMU 7.2; here is $(ls "$source"/*.dsc)"
}

# Configures and compiles in the current folder, the unpacked source.
compile_emulator() {
  patch -p1 <"$root/tests/vm/qemu/nvme-firmware.patch" || return 1
  cp "$root/tests/vm/qemu/nvme-firmware.c.inc" hw/nvme/
  mkdir build && cd build || return 1
  ../configure --target-list=x86_64-softmmu --without-default-features --without-default-devices \
    --with-devices-x86_64=firmware-vm --enable-tcg --enable-system --enable-fdt=system --disable-tools \
    --extra-cflags=-Werror=implicit-function-declaration &&
    ninja qemu-system-x86_64
}

# build_emulator: leaves the emulator in $vm/emulator/qemu-system-x86_64. Compiles only when the source package, the
# patch or this file have changed since the last time.
build_emulator() {
  local source=$vm/emulator/source tree=$vm/emulator/tree key begin=$SECONDS
  fetch_emulator_source "$source"
  key=$(cat "$source"/*.dsc "$root"/tests/vm/qemu/* "$root/tests/vm/emulator.sh" | sha256sum | cut -d ' ' -f 1)
  [ "$(cat "$vm/emulator/key" 2>/dev/null)" != "$key" ] || return 0
  say "building the emulator; this takes some minutes"
  rm -rf "$tree" "$vm/emulator/key"
  dpkg-source --no-check --no-copy -x "$source"/*.dsc "$tree" >"$vm/emulator/build.log" 2>&1 ||
    impossible "the emulator's source cannot be unpacked; see build/vm/emulator/build.log"
  (cd "$tree" && compile_emulator) >>"$vm/emulator/build.log" 2>&1 || {
    tail -30 "$vm/emulator/build.log"
    say "FAILED, the emulator does not build; see build/vm/emulator/build.log"
    exit 1
  }
  strip -o "$vm/emulator/qemu-system-x86_64" "$tree/build/qemu-system-x86_64"
  rm -rf "$tree"
  echo "$key" >"$vm/emulator/key"
  say "built the emulator in $((SECONDS - begin)) s"
}
