# Shared by the scripts: sourced, not run. Leaves the shell in the project's root.

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

say() { printf '\n== %s\n' "$*"; }

fail() {
  printf '\n%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# Runs a command; when it fails, ends the script with the advice given first.
attempt() {
  local advice=$1
  shift
  "$@" || fail "'$*' failed. $advice"
}

# Installs those of the Debian packages named that are missing.
install_packages() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return

  command -v apt-get >/dev/null || fail "needs the Debian packages ${missing[*]}: install them by hand, then run this again."
  local root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "needs the Debian packages ${missing[*]}: install them as root, then run this again."
    root=(sudo)
  fi
  say "Installing ${missing[*]}"
  local advice="Check the network and the package sources, then run this again."
  attempt "$advice" "${root[@]}" apt-get update -q
  attempt "$advice" "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends "${missing[@]}"
}

# Configures and builds one preset of CMakePresets.json.
build_preset() {
  say "Building preset $1 in build/$1"
  attempt "If build/$1 was made by other tools, remove it and run this again." cmake --preset "$1"
  attempt "The compiler's messages are above." cmake --build --preset "$1"
}

BUILD_PACKAGES=(g++ cmake ninja-build libdeflate-dev libzstd-dev libxxhash-dev libcli11-dev nlohmann-json3-dev libjs-dygraphs scdoc)
TEST_PACKAGES=(zlib1g-dev libgtest-dev libgmock-dev libboost-filesystem-dev python3 bash-completion groff-base)
FLEET_PACKAGES=(parallel openssh-server openssh-client slurm-wlm munge procps)
# Only for what opens the pages of ostrelLog: scripts/screenshots and the tests with the label "all".
BROWSER_PACKAGES=(chromium chromium-driver python3-selenium)
# Only for the tests with the label "all" that read exported logs, besides npm.
READER_PACKAGES=(python3-pandas)
# Only for scripts/package.
PACKAGE_PACKAGES=(dpkg-dev lintian)
# Only for the tests with the label "all" that install the packages, or try the completions in other shells than bash.
INSTALLATION_PACKAGES=(mmdebstrap zsh fish)
