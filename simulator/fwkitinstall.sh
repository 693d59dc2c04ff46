#!/bin/sh
# nvmepcissd-simulator: stand-in for the install script of the hardware-access library. Prints nothing on standard output.
#
#   FWKIT_LOG               where to note what was asked; else fwkitinstall.log beside this script
#   FWKIT_INSTALL_RESULT    exit status of install; anything but 0 installs nothing
#   FWKIT_UNINSTALL_RESULT  exit status of uninstall; anything but 0 removes nothing
#   FWKIT_INSTALL_DIR       existing folder to put libkvrpm.so into and to remove it from; else nothing is copied
#
# The library is taken from beside this script or from its folder "support".

set -eu

usage() {
  echo "usage: $0 install|uninstall" >&2
  exit 2
}

here=$(dirname -- "$0")
library=libkvrpm.so

# Takes the library's place in one step: a process may have the old one loaded.
install_library() {
  temporary=$FWKIT_INSTALL_DIR/.$library.$$
  source=$here/$library
  [ -e "$source" ] || source=$here/support/$library
  cp -- "$source" "$temporary" && mv -f -- "$temporary" "$FWKIT_INSTALL_DIR/$library" && return
  rm -f -- "$temporary"
  return 1
}

[ $# -eq 1 ] || usage
case $1 in
  install) result=${FWKIT_INSTALL_RESULT:-0} ;;
  uninstall) result=${FWKIT_UNINSTALL_RESULT:-0} ;;
  *) usage ;;
esac

# A log that cannot be written is no reason to fail.
{ echo "$1" >>"${FWKIT_LOG:-$here/fwkitinstall.log}"; } 2>/dev/null || true

[ "$result" = 0 ] || exit "$result"
[ -n "${FWKIT_INSTALL_DIR:-}" ] || exit 0
case $1 in
  install) install_library ;;
  uninstall) rm -f -- "$FWKIT_INSTALL_DIR/$library" ;;
esac
