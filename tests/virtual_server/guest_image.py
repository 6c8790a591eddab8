"""Makes what the virtual server boots from: Debian's kernel and an initramfs of a busybox, the
kernel modules of its devices, and the programs under test with every library they need.

Nothing is installed: the kernel's package is unpacked into a cache folder."""

import glob
import os
import re
import shutil
import subprocess

# The parts of the kernel's package that hold the modules below and those that they need.
KERNEL_PARTS = ["./boot/vmlinuz-*"] + [
    f"./lib/modules/*/kernel/{part}/*"
    for part in ("arch", "block", "crypto", "drivers/ata", "drivers/char", "drivers/message",
                 "drivers/net/ethernet/intel", "drivers/nvme", "drivers/pps", "drivers/ptp",
                 "drivers/scsi", "lib")]


class Unavailable(Exception):
    """Something that the test cannot do without is not to be had here."""


def tool(*names):
    for name in names:
        path = shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")
        if path:
            return path
    raise Unavailable(f"{names[0]} is not installed")


def run(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **options).stdout


def download_kernel(cache):
    """The kernel's package file in the cache; fetched at the first run, through apt."""
    found = glob.glob(f"{cache}/linux-image-*.deb")
    if found:
        return found[0]
    try:
        depends = run(tool("apt-cache"), "depends", "linux-image-amd64", stderr=subprocess.DEVNULL)
        package = re.search(r"Depends: (linux-image-\S+)", depends).group(1)
        run(tool("apt-get"), "download", "-q", package, cwd=cache, stderr=subprocess.DEVNULL)
    except (subprocess.CalledProcessError, AttributeError) as error:
        raise Unavailable("the package linux-image-amd64 cannot be downloaded") from error
    return glob.glob(f"{cache}/linux-image-*.deb")[0]


def unpack_kernel(cache):
    """The folder that holds boot/ and lib/modules/ of the kernel."""
    folder = f"{cache}/kernel"
    if os.path.isdir(folder):
        return folder
    package = download_kernel(cache)
    part = f"{folder}.part"
    shutil.rmtree(part, ignore_errors=True)
    os.makedirs(part)
    tar = subprocess.Popen([tool("dpkg-deb"), "--fsys-tarfile", package], stdout=subprocess.PIPE)
    run(tool("tar"), "-x", "-C", part, "--wildcards", *KERNEL_PARTS, stdin=tar.stdout)
    if tar.wait() != 0:
        raise Unavailable(f"{package} cannot be unpacked")
    os.rename(part, folder)
    return folder


class Modules:
    """The modules of the unpacked kernel, and what each needs."""

    def __init__(self, kernel):
        self.base = glob.glob(f"{kernel}/lib/modules/*")[0]
        self.release = os.path.basename(self.base)
        paths = glob.glob(f"{self.base}/kernel/**/*.ko*", recursive=True)
        self.paths = {self.name(path): path for path in paths}

    @staticmethod
    def name(path):
        return os.path.basename(path).split(".")[0].replace("-", "_")

    def field(self, name, field):
        return run(tool("modinfo"), "-F", field, self.paths[name]).strip()

    def with_needs(self, names):
        needed, todo = set(), list(names)
        while todo:
            name = todo.pop().replace("-", "_")
            if name in needed or name not in self.paths:
                continue
            needed.add(name)
            todo += [need for need in self.field(name, "depends").split(",") if need]
        return needed

    def copy_to(self, root, names):
        for name in self.with_needs(names):
            path = self.paths[name]
            target = f"{root}/lib/modules/{self.release}/{os.path.relpath(path, self.base)}"
            os.makedirs(os.path.dirname(target), exist_ok=True)
            shutil.copy(path, target)
        for index in ("modules.order", "modules.builtin", "modules.builtin.modinfo"):
            open(f"{root}/lib/modules/{self.release}/{index}", "w").close()
        run(tool("depmod"), "-b", root, self.release)


def copy_program(root, source, target):
    """Copies a program or library and the libraries it is linked to, except those beside it."""
    os.makedirs(os.path.dirname(root + target), exist_ok=True)
    shutil.copy(source, root + target)
    for path in re.findall(r"(/\S+) \(0x", run("ldd", source)):
        if os.path.dirname(os.path.realpath(path)).startswith(("/usr/lib", "/lib")):
            os.makedirs(os.path.dirname(root + path), exist_ok=True)
            shutil.copy(os.path.realpath(path), root + path)


def pack(root, image):
    """The folder as an initramfs that needs no root to make."""
    names = "\n".join(sorted(
        os.path.relpath(os.path.join(folder, name), root)
        for folder, folders, files in os.walk(root) for name in folders + files))
    with open(image, "wb") as output:
        subprocess.run([tool("cpio"), "--quiet", "-o", "-H", "newc", "-R", "0:0"], cwd=root,
                       input=names.encode(), stdout=output, check=True)
