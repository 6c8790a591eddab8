#!/usr/bin/env bash
# Makes build/portable/svcheck-VERSION-linux-ARCH.tar.xz and an RPM package of the same tree, which
# run on every Linux system with glibc 2.31 or newer: what is on each of them is used, what is not
# lies in the tree.
#
# Everything is compiled in a Debian 11 of its own (build/portable/root), since a program asks for
# the glibc that it was linked with. The compiler is that system's newest Clang with its own C++
# library: GCC 10, the other one there, knows too little of C++20. Headers that need no library come
# from this system, whose versions the sources are written for. Only root may make such a system.
set -euo pipefail
cd "$(dirname "$0")/../.."

work=$PWD/build/portable
root=$work/root
tree=$work/tree            # what is packed
home=/opt/svcheck          # where the RPM package lies; the archive may lie anywhere
suite=bullseye
clang=16
packages=(clang-$clang lld-$clang libc++-$clang-dev libc++abi-$clang-dev cmake ninja-build
  pkg-config libboost-dev libcurl4-openssl-dev libgcrypt20-dev libkmod-dev libmnl-dev
  libarchive-dev zlib1g-dev libzstd-dev patchelf)
headers=(libcli11-dev libtomlplusplus-dev libtomlplusplus3 nlohmann-json3-dev libfmt-dev libfmt9)
# The Boost of that system uses what C++17 has removed.
boost=-D_LIBCPP_ENABLE_CXX17_REMOVED_UNARY_BINARY_FUNCTION
# Parts of glibc, and GCC's run-time library, which glibc itself needs: each system has its own.
everywhere='^(ld-linux.*|lib(c|m|dl|rt|pthread|resolv|util|gcc_s))\.so'

say() { printf '\033[1m%s\033[0m\n' "$*" >&2; }

# A command in that system, with the /proc that compilers look for themselves in.
inside() {
  unshare --mount bash -c 'mount -t proc proc "$0/proc" && exec chroot "$0" "$@"' "$root" "$@"
}

# A command of this system that takes no path with a blank in it: to it the folder of the work is
# /mnt, which nobody else sees.
without_blanks() {
  unshare --mount bash -c 'mount --bind "$0" /mnt && cd /mnt && exec "$@"' "$work" "$@"
}

# Whole, or made anew: what an interrupted run left is not taken for a system.
make_root() {
  local wanted="${packages[*]} ${headers[*]}"
  [[ -f $root/ready && $(<"$root/ready") == "$wanted" ]] && return
  rm -rf "$root"
  without_blanks debootstrap --variant=minbase "$suite" /mnt/root \
    "${SVC_DEBIAN_MIRROR:-http://deb.debian.org/debian}"
  inside env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    "${packages[@]}"
  for package in "${headers[@]}"; do dpkg-query -L "$package"; done | grep -v /share/doc/ |
    while read -r name; do [[ -d $name && ! -L $name ]] || printf '%s\0' "${name#/}"; done |
    tar -C / --null -T - -c | tar -C "$root" -x
  printf '%s' "$wanted" >"$root/ready"
}

# What is carried shall have the last security updates. What the mirror does not give stays as it is
# and is told.
update_root() {
  echo "deb ${SVC_DEBIAN_SECURITY_MIRROR:-http://deb.debian.org/debian-security}" \
    "$suite-security main" >"$root/etc/apt/sources.list.d/security.list"
  inside apt-get update -qq
  inside env DEBIAN_FRONTEND=noninteractive apt-get dist-upgrade -y -qq --fix-missing || true
  inside apt-get -s dist-upgrade | sed -n 's/^Inst \([^ ]*\) .*/\1/p' >"$work/outdated"
}

# The sources as they are, with their times, so that only what has changed is compiled again.
compile() {
  rm -rf "$root/src"
  mkdir "$root/src"
  git ls-files -z | tar --null --ignore-failed-read -T - -c | tar -C "$root/src" -x
  inside cmake -S /src -B /build -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_COMPILER=clang++-$clang -DCMAKE_CXX_FLAGS="-stdlib=libc++ $boost" \
    -DSVC_TESTS=OFF -DSVC_SIGNED_METADATA=OFF \
    -DCMAKE_INSTALL_PREFIX="$home" -DCMAKE_INSTALL_LIBDIR=lib
  inside cmake --build /build
  rm -rf "$root/stage"
  inside env DESTDIR=/stage cmake --install /build --strip --component svcheck
  inside env DESTDIR=/stage cmake --install /build --strip --component libsvchecker
  rm -rf "$tree"
  mv "$root/stage$home" "$tree"
}

# Copies what the tree's programs load and not every system has, and what that loads, beside our own
# libraries. Each looks for the others where it lies itself.
carry() {
  local library name
  rm -rf "$root/tree" && cp -a "$tree" "$root/tree"
  find "$root/tree" -type f \( -name '*.so*' -o -path '*/bin/*' \) -printf '/tree/%P\0' |
    while IFS= read -r -d '' name; do inside ldd "$name"; done |
    sed -n 's/^\t\([^ ]*\) => \(\/[^ ]*\) .*/\1 \2/p' | sort -u |
    while read -r name library; do
      [[ $library == /tree/* || $name =~ $everywhere ]] || echo "$name $library"
    done >"$work/carried"
  while read -r name library; do
    cp -L "$root$library" "$tree/lib/$name"
    cp -L "$root$library" "$root/tree/lib/$name"
    inside patchelf --set-rpath '$ORIGIN' "/tree/lib/$name"
    cp "$root/tree/lib/$name" "$tree/lib/$name"
  done <"$work/carried"
}

archive() {
  local name="svcheck-$version-linux-$(uname -m)"
  tar -C "$tree" --owner=0 --group=0 --numeric-owner --sort=name --transform "s,^\.,$name," \
    -c . | xz -T0 >"$work/$name.tar.xz"
}

# A package of the tree below /opt, with the program, its manual pages and its units where a system
# looks for them.
package() {
  local own
  own=$(cd "$tree/lib" && printf '%s\n' *.so* | sed 's/[+]/./g' | paste -sd '|')
  cp packaging/portable/svcheck.spec "$work/svcheck.spec"
  without_blanks rpmbuild -bb --quiet --define "_topdir /mnt/rpm" --define "tree /mnt/tree" \
    --define "home $home" --define "version $version" --define "own ^($own)" /mnt/svcheck.spec
  mv "$work"/rpm/RPMS/*/*.rpm "$work/"
}

# logged WHAT FUNCTION: ends where one of the function's commands fails, and shows the end of what
# they wrote. Called within a condition, a function would go on behind a command that fails.
logged() {
  local log=$work/$2.log status
  say "$1"
  set +e
  (
    set -e
    "$2"
  ) >"$log" 2>&1
  status=$?
  set -e
  ((status == 0)) && return
  tail -n 60 "$log" >&2
  echo "$2 failed: $log" >&2
  exit 1
}

if ((EUID != 0)); then
  echo "Only root may make the Debian 11 that the portable build is made in; try: sudo $0" >&2
  exit 1
fi
mkdir -p "$work"
version=$(sed -n 's/^project(svcheck VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
rm -f "$work"/*.tar.xz "$work"/*.rpm
logged "A Debian 11 to build in" make_root
logged "Its updates" update_root
[[ ! -s $work/outdated ]] ||
  say "Without the last updates, which the mirror does not give: $(paste -sd ' ' "$work/outdated")"
logged "Building (portable)" compile
logged "What is carried" carry
logged "Archive" archive
logged "RPM package" package
ls "$work"/*.tar.xz "$work"/*.rpm
