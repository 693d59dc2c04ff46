# shellcheck shell=bash
# Package sources beside those of the machine: the distribution's source packages, its backports and other
# architectures, from the mirror that the machine itself uses. Lists, cache and status live in a folder; the machine's
# apt configuration and dpkg database stay as they are. Sourced by scripts.

# Prints "URI SUITE" of the archive that the machine's packages come from, or nothing where apt knows none.
distribution_mirror() {
  local release
  release=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
  # shellcheck disable=SC2016  # $(...) is apt's own
  apt-get indextargets --format '$(REPO_URI) $(CODENAME) $(COMPONENT)' 'Created-By: Packages' 2>/dev/null |
    awk -v release="$release" '$2 == release && $3 == "main" && !found++ { print $1, $2 }'
}

# open_private_apt FOLDER TYPE SUFFIX [ARCHITECTURE]: sets FOLDER (an absolute path) up and reads its lists of
# packages. TYPE is deb or deb-src. SUFFIX is added to the name of the suite: empty, or -backports. Fails where the
# mirror has no such suite or cannot be reached.
open_private_apt() {
  local folder=$1 type=$2 suffix=$3 architecture=${4:-$(dpkg --print-architecture)} mirror suite
  local keys=/usr/share/keyrings/debian-archive-keyring.gpg
  read -r mirror suite < <(distribution_mirror) || return 1
  mkdir -p "$folder"/{sources,lists/partial,cache/archives/partial}
  : >>"$folder/status"
  {
    printf 'Types: %s\nURIs: %s\nSuites: %s\nComponents: main\n' "$type" "$mirror" "$suite$suffix"
    [ ! -e "$keys" ] || printf 'Signed-By: %s\n' "$keys"
  } >"$folder/sources/distribution.sources"
  cat >"$folder/apt.conf" <<CONFIGURATION
Dir::Etc::SourceList "/dev/null";
Dir::Etc::SourceParts "$folder/sources";
Dir::State::Lists "$folder/lists";
Dir::State::Status "$folder/status";
Dir::Cache "$folder/cache";
APT::Architecture "$architecture";
APT::Architectures "$architecture";
APT::Sandbox::User "root";
Acquire::Retries "2";
CONFIGURATION
  private_apt "$folder" apt-get update -qq -o APT::Update::Error-Mode=any
}

# private_apt FOLDER COMMAND...: runs apt-get, apt-cache and the like with the sources of FOLDER.
private_apt() {
  local folder=$1
  shift
  APT_CONFIG=$folder/apt.conf timeout 300 "$@"
}

# unpack_packages FOLDER APT PACKAGE...: downloads the packages of APT, a folder of private sources, and unpacks them
# into FOLDER. Does nothing when an earlier call did it: remove FOLDER to fetch newer ones.
unpack_packages() {
  local folder=$1 apt=$2 package
  shift 2
  [ "$(cat "$folder/complete" 2>/dev/null)" != "$*" ] || return 0
  rm -rf "$folder"
  mkdir -p "$folder/packages"
  (cd "$folder/packages" && private_apt "$apt" apt-get download -qq "$@") || return 1
  for package in "$folder"/packages/*.deb; do dpkg -x "$package" "$folder" || return 1; done
  rm -r "$folder/packages"
  echo "$*" >"$folder/complete"
}
