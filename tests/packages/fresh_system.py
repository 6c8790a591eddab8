"""A fresh Debian in a folder, from Debian's mirror, and commands inside it. Only root makes one."""

import os
import urllib.error
import urllib.request

from packages import skip, skip_without, succeed

SUITE = "bookworm"
MIRROR = os.environ.get("SVC_DEBIAN_MIRROR", "http://deb.debian.org/debian")
ENVIRONMENT = ["LC_ALL=C.UTF-8", "DEBIAN_FRONTEND=noninteractive",
               "PATH=/usr/sbin:/usr/bin:/sbin:/bin", *(f"{name}={value}" for name, value
                                                       in os.environ.items() if "_proxy" in name)]


class FreshSystem:
    def __init__(self, root):
        self.root = root

    def command(self, *words, user="root"):
        """In a mount namespace of its own, so that /proc is gone with the command."""
        home = {"root": "/root", "nobody": "/"}.get(user, f"/home/{user}")
        return ["unshare", "--mount", "--propagation", "private", "sh", "-c",
                'mount -t proc proc "$0/proc" && exec chroot "$@"', str(self.root),
                f"--userspec={user}", str(self.root), "env", "-i", f"HOME={home}", *ENVIRONMENT,
                *words]


def make(root, *packages, suite=SUITE):
    """With packages of the mirror beside the least that there is."""
    more = [f"--include={','.join(packages)}"] if packages else []
    succeed("debootstrap", "--variant=minbase", *more, suite, root, MIRROR)
    return FreshSystem(root)


def skip_where_none_can_be_made():
    if os.geteuid() != 0:
        skip("only root may make the fresh system (debootstrap, chroot)")
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    skip_without("debootstrap", package="debootstrap")
    skip_without("dpkg-deb", "dpkg-shlibdeps", package="dpkg-dev")
    try:
        urllib.request.urlopen(f"{MIRROR}/dists/{SUITE}/Release", timeout=20).close()
    except (OSError, urllib.error.URLError) as error:
        skip(f"{MIRROR} cannot be reached ({error}); SVC_DEBIAN_MIRROR names another mirror")
