#!/usr/bin/env python3
"""A tape library in user space: tgt's targets with a changer and drives on a free loopback port.

usage: tape_library.py DRIVES COMMAND...
Runs a command with a library of that many drives (to 62), and its URL in DEVPREP_BENCH_LIBRARY and
DEVPREP_HARDWARE.
"""
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time

PREFIX = "iqn.2020-01.example.devprep:"
# A record keeps the first 32 of the 36 bytes of a serial number page, and tgt fills it from the right: this is
# to stand at the end of a serial number.
UNCOUNTED = "9999"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Proxy:
    """A portal in front of another."""

    def __init__(self, port):
        self.behind = port
        self.server = socket.create_server(("127.0.0.1", 0))
        self.port = self.server.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                ends = self.server.accept()[0], socket.create_connection(("127.0.0.1", self.behind))
            except OSError:
                return
            for source, sink, forth in ((*ends, True), (*reversed(ends), False)):
                threading.Thread(target=self.pump, args=(source, sink, forth), daemon=True).start()

    def pump(self, source, sink, forth):
        with source:
            try:
                for data in self.passed(source, forth):
                    sink.sendall(data)
                for end in (source, sink):
                    end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass  # the other direction was faster

    def close(self):
        self.server.shutdown(socket.SHUT_RDWR)
        self.server.close()


class CuttingProxy(Proxy):
    """Closes its connections when so many bytes came back."""

    def __init__(self, port, most):
        self.most = most
        super().__init__(port)

    def passed(self, source, forth):
        passed = 0
        while data := source.recv(256):
            passed += len(data)
            if not forth and passed > self.most:
                break
            yield data


class BusyProxy(Proxy):
    """Has one unit answer each standard INQUIRY with the status BUSY."""

    def __init__(self, port, lun):
        self.lun = lun
        self.inquiries = set()
        super().__init__(port)

    def passed(self, source, forth):
        with source.makefile("rb") as stream:
            while head := stream.read(48):
                size = int.from_bytes(head[5:8], "big")
                data = bytearray(head + stream.read(4 * head[4] + size + -size % 4))
                operation, tag = data[0] & 0x3f, bytes(data[16:20])
                if forth and operation == 0x01 and data[9] == self.lun and data[32:34] == b"\x12\0":
                    self.inquiries.add(tag)
                elif not forth and operation in (0x21, 0x25) and tag in self.inquiries:
                    data[3] = 0x08
                yield bytes(data)


class TapeLibrary:
    """One tgtd of our own. Targets are made by name; close() ends it and removes its files."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="devprep-tgt-")
        self.port = free_port()
        self.control = str(free_port() % 0x7FFF)  # one that no other tgtd is likely to have
        self.environment = dict(os.environ, TGT_IPC_SOCKET=self.folder + "/ipc")
        self.targets = {}
        self.log = open(self.folder + "/tgtd.log", "wb")
        self.daemon = subprocess.Popen(
            ["tgtd", "-f", "-C", self.control, "--iscsi", f"portal=127.0.0.1:{self.port}"],
            env=self.environment, stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log)
        for _ in range(200):
            if self.try_admin("--mode", "sys", "--op", "show") == 0:
                return
            if self.daemon.poll() is not None:
                break
            time.sleep(0.05)
        self.close()
        raise RuntimeError("tgtd does not start")

    def close(self):
        self.daemon.kill()
        self.daemon.wait()
        self.log.close()
        shutil.rmtree(self.folder)

    @property
    def url(self):
        return f"iscsi://127.0.0.1:{self.port}"

    def command(self, *arguments):
        return ["tgtadm", "-C", self.control, "--lld", "iscsi", *arguments]

    def try_admin(self, *arguments):
        return subprocess.run(self.command(*arguments), env=self.environment,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode

    def admin(self, *arguments):
        subprocess.run(self.command(*arguments), env=self.environment, check=True,
                       stdout=subprocess.DEVNULL)

    def add_target(self, name):
        number = self.targets[name] = str(len(self.targets) + 1)
        self.admin("--mode", "target", "--op", "new", "--tid", number,
                   "--targetname", PREFIX + name)
        self.admin("--mode", "target", "--op", "bind", "--tid", number, "-I", "ALL")

    def unit(self, target, lun, operation, *arguments):
        self.admin("--mode", "logicalunit", "--tid", self.targets[target], "--lun", str(lun),
                   "--op", operation, *arguments)

    def add_drive(self, target, lun, serial, product="STREAMER-9"):
        tape = f"{self.folder}/tape-{target}-{lun}"
        subprocess.run(["tgtimg", "--op", "new", "--device-type", "tape", "--barcode", "TAPE",
                        "--size", "8", "--type", "data", "--thin-provisioning", "--file", tape],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.unit(target, lun, "new", "--backing-store", tape, "--device-type", "tape")
        self.unit(target, lun, "update", "--params",
                  f"vendor_id=ACME,product_id={product},product_rev=A1B1,scsi_sn={serial}")

    def add_changer(self, target, lun, serial):
        backing = f"{self.folder}/changer-{target}-{lun}"
        with open(backing, "wb") as file:
            file.truncate(1024)
        self.unit(target, lun, "new", "--backing-store", backing, "--device-type", "changer")
        self.unit(target, lun, "update", "--params",
                  f"vendor_id=ACME,product_id=ROBOT-40,product_rev=R100,scsi_sn={serial}")

    def remove_unit(self, target, lun):
        self.unit(target, lun, "delete")

    def demand_login(self, target, user, password):
        self.admin("--mode", "account", "--op", "new", "--user", user, "--password", password)
        self.admin("--mode", "account", "--op", "bind", "--tid", self.targets[target],
                   "--user", user)

    def prove_identity(self, target, user, password):
        """The target's side of mutual CHAP."""
        self.admin("--mode", "account", "--op", "new", "--user", user, "--password", password)
        self.admin("--mode", "account", "--op", "bind", "--tid", self.targets[target],
                   "--user", user, "--outgoing")


def run_with_library(drives, command):
    library = TapeLibrary()
    try:
        library.add_target("library")
        library.add_changer("library", 1, "ROBOT001" + UNCOUNTED)
        for drive in range(drives):
            library.add_drive("library", 2 + drive, f"DRIVE{drive:03}" + UNCOUNTED)
        return subprocess.run(command, env=dict(
            os.environ, DEVPREP_BENCH_LIBRARY=library.url, DEVPREP_HARDWARE=library.url)).returncode
    finally:
        library.close()


if __name__ == "__main__":
    sys.exit(run_with_library(int(sys.argv[1]), sys.argv[2:]))
