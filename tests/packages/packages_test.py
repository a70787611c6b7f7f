#!/usr/bin/env python3
"""Installs, uses, upgrades and purges the Debian packages on a clean system.

usage: packages_test.py SYSTEM.tar PACKAGES CONSUMER

SYSTEM.tar is a minimal Debian, PACKAGES the folder with the packages, CONSUMER a CMake project that uses the
installed library. Has to be run as root.
"""

import glob
import os
import shutil
import subprocess
import sys
import tempfile

TIMER_LINK = "etc/systemd/system/timers.target.wants/devprep-check.timer"
TIMER = "lib/systemd/system/devprep-check.timer"
REGISTRY = "var/lib/devprep/registry.reg"
# What the package manager itself keeps, and what it makes anew.
NOT_OURS = ("var/lib/dpkg/", "var/log/", "var/cache/", "etc/ld.so.cache", "run/", "tmp/", "dev/", "proc/", "sys/")
RECABLING = "/usr/share/doc/devprep/examples/recabling/"


def run(*command, **options):
    ran = subprocess.run(command, capture_output=True, text=True, **options)
    if ran.returncode != 0:
        sys.exit(f"{' '.join(command)}: exit status {ran.returncode}\n{ran.stdout}{ran.stderr}")
    return ran.stdout


class System:
    def __init__(self, archive, folder):
        self.root = folder
        run("tar", "-xf", archive, "-C", folder, "--exclude=./dev/*")
        self.at_first = self.files()

    def path(self, inside):
        return os.path.join(self.root, inside)

    def exists(self, inside):
        return os.path.lexists(self.path(inside))

    def run(self, *command, **variables):
        # Neither this machine's variables nor its systemd come in.
        environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8", **variables}
        return run("chroot", self.root, *command, env=environment)

    def install(self, packages):
        folder = self.path("tmp/packages")
        os.makedirs(folder)
        for package in packages:
            shutil.copy(package, folder)
        self.run("dpkg", "--install", *(f"/tmp/packages/{os.path.basename(package)}" for package in packages))
        shutil.rmtree(folder)

    def files(self):
        found = set()
        for folder, folders, names in os.walk(self.root):
            for name in folders + names:
                file = os.path.relpath(os.path.join(folder, name), self.root)
                if not (file + "/").startswith(NOT_OURS) and not file.startswith(NOT_OURS):
                    found.add(file)
        return found

    def expect_clean(self, after):
        left = sorted(self.files() - self.at_first)
        lost = sorted(self.at_first - self.files())
        assert not left and not lost, f"{after}: left {left}, lost {lost}"
        known = self.run("dpkg-query", "-W", "-f", "${Package}\n").split()
        assert not [name for name in known if "devprep" in name], known


def repacked(package, version, folder):
    """The package as one of an older version."""
    contents = os.path.join(folder, "contents")
    run("dpkg-deb", "-R", package, contents)
    control = os.path.join(contents, "DEBIAN/control")
    with open(control, encoding="utf-8") as file:
        text = file.read()
    new_version = run("dpkg-deb", "-f", package, "Version").strip()
    with open(control, "w", encoding="utf-8") as file:
        file.write(text.replace(f"Version: {new_version}\n", f"Version: {version}\n")
                   .replace(f"(= {new_version})", f"(= {version})"))
    old = os.path.join(folder, f"{version}-{os.path.basename(package)}")
    run("dpkg-deb", "-b", "--root-owner-group", contents, old)
    shutil.rmtree(contents)
    return old


def one_package(packages, folder):
    """All in one package, as in the first release, with the units where that had them."""
    contents = os.path.join(folder, "contents")
    for package in packages:
        run("dpkg-deb", "-x", package, contents)
    os.makedirs(os.path.join(contents, "usr/lib"), exist_ok=True)
    for name in ("systemd", "udev"):
        os.rename(os.path.join(contents, "lib", name), os.path.join(contents, "usr/lib", name))
    os.rmdir(os.path.join(contents, "lib"))
    os.mkdir(os.path.join(contents, "DEBIAN"))
    with open(os.path.join(contents, "DEBIAN/control"), "w", encoding="ascii") as file:
        file.write("Package: devprep\nVersion: 1.0.0\nArchitecture: amd64\nMaintainer: nobody <nobody@example.com>\n"
                   "Description: as it was released first\n")
    old = os.path.join(folder, "devprep_1.0.0.deb")
    run("dpkg-deb", "-b", "--root-owner-group", contents, old)
    shutil.rmtree(contents)
    return old


def use(system, consumer):
    """The tool, and the library from C by pkg-config and by CMake: built with the compiler of this machine
    against what is installed there, run there."""
    system.run("devprep", "registry", "import", RECABLING + "configuration.reg")
    configured = system.run("devprep", "configure", "--yes", DEVPREP_HARDWARE=RECABLING + "machine.reg")
    assert configured.startswith("8 devices found, 2 new."), configured

    (pc_folder,) = glob.glob(system.path("usr/lib/*/pkgconfig"))
    build = system.path("tmp/consumer")
    options = run("pkg-config", "--cflags", "--libs", "devprep", env={
        **os.environ, "PKG_CONFIG_LIBDIR": pc_folder, "PKG_CONFIG_SYSROOT_DIR": system.root,
        "PKG_CONFIG_ALLOW_SYSTEM_CFLAGS": "1", "PKG_CONFIG_ALLOW_SYSTEM_LIBS": "1"}).split()
    run("cmake", "-S", consumer, "-B", build, f"-DCMAKE_PREFIX_PATH={system.path('usr')}",
        "-DCMAKE_BUILD_WITH_INSTALL_RPATH=ON")
    run("cmake", "--build", build)
    run("cc", "-Wall", "-Werror", os.path.join(consumer, "consumer.c"), *options, "-o",
        os.path.join(build, "by-pkg-config"))
    for program in ("consumer", "consumer_static", "by-pkg-config"):
        printed = system.run(f"/tmp/consumer/{program}", DEVPREP_HARDWARE=RECABLING + "machine.reg")
        assert printed == "status 0 and 0, 8 devices\n", f"{program}: {printed}"
    shutil.rmtree(build)


def main():
    archive, packages, consumer = (os.path.abspath(argument) for argument in sys.argv[1:])
    new = sorted(glob.glob(os.path.join(packages, "*.deb")))
    assert len(new) == 3, new
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryDirectory() as root:
        system = System(archive, root)

        system.install(new)
        assert not system.exists(TIMER_LINK), "the timer is enabled by itself"
        use(system, consumer)
        # The registry is there as long as something that uses it.
        system.run("dpkg", "--purge", "devprep")
        assert system.exists(REGISTRY), "the registry went with the tool, the library is there"
        system.run("dpkg", "--purge", "libdevprep-dev", "libdevprep1")
        system.expect_clean("purged, the library last")

        for old in ([one_package(new, folder)],
                    [repacked(package, "1.0.0-0.1", folder) for package in new]):
            system.install(old)
            system.run("devprep", "registry", "import", RECABLING + "configuration.reg")
            stored = system.run("devprep", "registry", "export", "-")
            os.symlink("/" + TIMER, system.path(TIMER_LINK))
            system.install(new)
            for kept in (TIMER, TIMER_LINK, "lib/udev/rules.d/90-devprep.rules"):
                assert system.exists(kept), f"the upgrade lost {kept}"
            assert system.run("devprep", "registry", "export", "-") == stored
            use(system, consumer)
            system.run("dpkg", "--purge", "libdevprep-dev", "libdevprep1", "devprep")
            system.expect_clean("upgraded and purged, the tool last")
    print("Packages: installed, used, upgraded, purged.")


main()
