"""A Debian kernel under QEMU, booted from memory, that runs one script and hands its files back."""
import os
import re
import shutil
import subprocess
import tarfile
import tempfile

TOOLS = ["/usr/bin/lsscsi", "/usr/bin/sg_inq", "/usr/bin/sg_vpd"]
MODULES = ["virtio_pci", "virtio_scsi", "sg", "st", "ch", "scsi_debug"]

INIT = """#!/bin/busybox sh
export PATH=/usr/sbin:/usr/bin:/sbin:/bin
/bin/busybox mkdir -p /proc /sys /dev /tmp /out /sbin /usr/sbin
/bin/busybox mount -t proc proc /proc
/bin/busybox mount -t sysfs sysfs /sys
/bin/busybox mount -t devtmpfs dev /dev
/bin/busybox --install -s
for t in 1 2; do stty -F /dev/ttyS$t raw -echo -crtscts clocal; done
for m in virtio_pci virtio_scsi sg st ch; do modprobe $m; done
exec @START@
"""

RUN = """#!/bin/busybox sh
export PATH=/usr/sbin:/usr/bin:/sbin:/bin
cd /out
sh /work/script >/out/output 2>&1 </dev/null
echo $? >/out/status
tar -cf - -C /out . >/dev/ttyS1
stty -F /dev/ttyS1 sane
sync
busybox poweroff -f
"""


def unpack_kernel(cache):
    """The folder of an unpacked kernel package and its version, fetched at the first use."""
    root = os.path.join(os.path.abspath(cache), "root")
    if not os.path.isdir(root):
        os.makedirs(cache, exist_ok=True)
        with tempfile.TemporaryDirectory(dir=cache) as folder:
            fetch_kernel(folder)
            os.rename(os.path.join(folder, "root"), root)
    (version,) = os.listdir(os.path.join(root, "lib/modules"))
    return root, version


def fetch_kernel(folder):
    depends = subprocess.run(["apt-cache", "depends", "linux-image-amd64"], check=True,
                             capture_output=True, text=True).stdout
    package = re.search(r"Depends: (linux-image-\S+)", depends).group(1)
    subprocess.run(["apt-get", "-qq", "download", package], cwd=folder, check=True)
    (archive,) = os.listdir(folder)
    subprocess.run(["dpkg", "-x", archive, "root"], cwd=folder, check=True)
    (version,) = os.listdir(os.path.join(folder, "root/lib/modules"))
    subprocess.run(["busybox", "depmod", "-b", os.path.join(folder, "root"), version], check=True)


def shared_libraries(program):
    listed = subprocess.run(["ldd", program], capture_output=True, text=True).stdout
    return re.findall(r"(/\S+\.so\S*)", listed)


def add_program(program, tree, folder=None):
    """Copies a program with its libraries, to the place that it has here or into another folder."""
    for file in (program, *shared_libraries(program)):
        into = tree + (folder if folder and file == program else os.path.dirname(file))
        os.makedirs(into, exist_ok=True)
        shutil.copy(file, into)


def add_modules(root, version, folder):
    relative = os.path.join("lib/modules", version)
    wanted = set()
    with open(os.path.join(root, relative, "modules.dep")) as lines:
        for line in lines:
            module, needs = line.split(":")
            if os.path.basename(module).split(".ko")[0] in MODULES:
                wanted.update([module, *needs.split()])
    for module in wanted:
        target = os.path.join(folder, relative, module)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copy(os.path.join(root, relative, module), target)
    subprocess.run(["busybox", "depmod", "-b", folder, version], check=True)


def run(cache, programs, script, qemu=(), timeout=180, prepare=None, start="/work/run"):
    """Boots, runs a shell script with the programs in its path, returns what it left in its
    folder by name, its output as "output" and its exit status as "status". prepare(tree) adds what
    else the guest needs, and start is what takes over there as the first process; it has to start
    /work/run."""
    root, version = unpack_kernel(cache)
    with tempfile.TemporaryDirectory(prefix="devprep-kernel-") as work:
        tree = os.path.join(work, "tree")
        for name in ("bin", "usr/bin", "work", "lib64"):
            os.makedirs(os.path.join(tree, name))
        shutil.copy("/bin/busybox", os.path.join(tree, "bin"))
        for program in [*TOOLS, *programs]:
            add_program(program, tree, "/usr/bin")
        add_modules(root, version, tree)
        for name, text in (("init", INIT.replace("@START@", start)), ("work/run", RUN),
                           ("work/script", script)):
            with open(os.path.join(tree, name), "w") as file:
                file.write(text)
            os.chmod(os.path.join(tree, name), 0o755)
        if prepare is not None:
            prepare(tree)
        subprocess.run("find . | busybox cpio -o -H newc 2>/dev/null | gzip -1 > ../initrd",
                       shell=True, cwd=tree, check=True)
        files = {name: os.path.join(work, name) for name in ("console", "out.tar")}
        qemu_command = [
            "qemu-system-x86_64", "-accel", "tcg", "-cpu", "max", "-m", "512", "-nographic",
            "-monitor", "none", "-nic", "none", "-no-reboot",
            "-kernel", f"{root}/boot/vmlinuz-{version}", "-initrd", f"{work}/initrd",
            "-append", "console=ttyS0 quiet panic=-1",
            "-serial", "file:" + files["console"], "-serial", "file:" + files["out.tar"], *qemu]
        try:
            subprocess.run(qemu_command, stdin=subprocess.DEVNULL, timeout=timeout, check=True)
            with tarfile.open(files["out.tar"]) as archive:
                return {os.path.basename(member.name): archive.extractfile(member).read().decode()
                        for member in archive if member.isfile()}
        except (subprocess.TimeoutExpired, tarfile.TarError) as error:
            with open(files["console"], errors="replace") as console:
                raise RuntimeError("the kernel gave nothing back:\n" + console.read()) from error
