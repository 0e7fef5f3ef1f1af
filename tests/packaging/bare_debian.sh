#!/usr/bin/env bash
# Sets up a bare Debian 12 in a folder and uses the packages there (use_packages.sh): bare_debian.sh PACKAGES FOLDER
# with the folder of the packages, and one that keeps the archive of the bare system between runs. Exits with 77 where
# that can't be done.
set -euo pipefail
packages=$1 folder=$2 script=$(realpath "$(dirname "$0")/use_packages.sh")
not_run() { echo "not run: $*"; exit 77; }
[ "$(id -u)" -eq 0 ] || not_run "only root can set up a system in a folder"
command -v mmdebstrap >/dev/null || not_run "mmdebstrap is not installed"
ls "$packages"/*.deb >/dev/null 2>&1 || not_run "scripts/package has made no packages"
unshare --mount --pid --fork true 2>/dev/null || not_run "namespaces are refused here"
mkdir -p "$folder"
cd "$folder"
if [ ! -e bare.tar ]; then
  mmdebstrap --quiet --variant=apt bookworm new.tar || not_run "no Debian could be had, see above"
  mv new.tar bare.tar
fi
system=$(mktemp -d "$folder/system.XXXX")
trap 'rm -rf "$system"' EXIT
chmod 755 "$system"
tar -x -f bare.tar -C "$system" --exclude './dev/*'
cp /etc/resolv.conf "$system/etc"
mkdir "$system/packages"
cp "$packages"/*.deb "$script" "$system/packages"
cd "$system"
for device in null zero full random urandom; do touch dev/$device; done
# Mounts and processes of its own, which end with it, and no variables but those that reach the packages.
unshare --mount --pid --fork --kill-child bash -eu -c '
  for device in null zero full random urandom; do mount --bind /dev/$device dev/$device; done
  mkdir -p dev/shm
  mount -t tmpfs shm dev/shm
  mount -t proc proc proc
  exec env -i PATH=/usr/sbin:/usr/bin HOME=/root ${http_proxy:+http_proxy=$http_proxy} chroot . bash /packages/use_packages.sh'
