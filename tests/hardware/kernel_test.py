#!/usr/bin/env python3
"""The tool on the SCSI devices of a booted kernel.

usage: kernel_test.py DEVPREP CACHE
CACHE: a folder that keeps the unpacked kernel.
"""
import json
import os
import re
import sys
import unittest

sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
import guest_kernel
import json_schemas
from tape_library import PREFIX, UNCOUNTED, TapeLibrary

DEVPREP = None
CACHE = None

REPORT = """
export DEVPREP_REGISTRY=/out/registry.reg
devprep hardware --json >hardware.json
devprep capture capture.reg
lsscsi >lsscsi
for g in /sys/class/scsi_generic/sg*; do
  n=${g##*/}
  device=$(readlink -f $g/device)
  echo "== $(basename $device)"
  for node in $device/scsi_generic/* $device/scsi_tape/st[0-9] $device/scsi_tape/nst[0-9] \
      $device/scsi_changer/*; do
    [ ! -e "$node" ] || echo "node: /dev/${node##*/}"
  done
  sg_inq /dev/$n | grep -E 'identification|revision|peripheral'
  sg_vpd --page=0x80 /dev/$n
  sg_vpd --page=0x83 /dev/$n
done >reported
"""


def kernel_with(library, units, script):
    """units: (iSCSI LUN, SCSI id) of the library's target."""
    qemu = ["-device", "virtio-scsi-pci,id=bus"]
    for lun, scsi_id in units:
        place = f"{library.url}/{PREFIX}library/{lun}"
        qemu += ["-drive", f"if=none,id=unit{lun},file={place},format=raw,cache=none",
                 "-device", f"scsi-generic,drive=unit{lun},bus=bus.0,scsi-id={scsi_id}"]
    return guest_kernel.run(CACHE, [DEVPREP], script, qemu)


def json_of(out, command):
    text = out[command + ".json"]
    complaints = json_schemas.check([command, "--json"], 0, text)
    assert not complaints, complaints
    return json.loads(text)


class KernelTest(unittest.TestCase):
    def tape_library(self):
        library = TapeLibrary()
        self.addCleanup(library.close)
        library.add_target("library")
        library.add_drive("library", 1, "DRIVE001" + UNCOUNTED)
        # Of two drives of one name, the address would count before the serial number.
        library.add_drive("library", 2, "DRIVE002" + UNCOUNTED, product="STREAMER-10")
        library.add_changer("library", 3, "ROBOT001" + UNCOUNTED)
        return library

    def test_live_is_what_lsscsi_and_sg_inq_report(self):
        script = """
        modprobe scsi_debug ptype=1 lbpu=0 max_luns=2
        sleep 1
        """ + REPORT
        out = kernel_with(self.tape_library(), [(1, 1), (2, 2), (3, 3)], script)
        units = json_of(out, "hardware")["units"]
        self.assertEqual(len(units), 5, out["output"])
        types = {"tape_drive": "tape", "changer": "(8)"}
        listed = set()
        for line in out["lsscsi"].splitlines():
            address, *texts = (column.strip() for column in line.split("\t")[:5])
            listed.add((address.strip("[]"), *texts))
        # A host without units is a port, too: the port's number is the place among all hosts.
        ours = set()
        for unit in units:
            port, rest = unit["address"].split(":", 1)
            text = unit["description"].ljust(28)
            ours.add((rest, types[unit["type"]], text[:8].strip(), text[8:24].strip(),
                      text[24:28].strip()))
        self.assertEqual(ours, {(address.split(":", 1)[1], *texts)
                                for address, *texts in listed}, out["lsscsi"])
        reported = {}
        for part in out["reported"].split("== ")[1:]:
            address, text = part.split("\n", 1)
            reported[address] = text
        self.assertEqual(len(reported), 5)
        by_serial = {unit["serial_number"]: unit for unit in units}
        for address, text in reported.items():
            serial = re.search(r"Unit serial number: *(\S+)", text).group(1)
            unit = by_serial[serial]
            self.assertEqual(unit["address"].split(":", 1)[1], address.split(":", 1)[1])
            naa = re.findall(r"\[0x([0-9a-f]{16})\]", text.split("Target")[0]) or \
                re.findall(r"0x([0-9a-f]{16})\b", text)
            self.assertIn(unit["world_wide_id"], naa, text)
            self.assertEqual({node for node in unit["nodes"] if "/by-" not in node},
                             set(re.findall("node: (.*)", text)))
        self.assertLessEqual({"/dev/st0", "/dev/nst0", "/dev/sch0"},
                             {node for unit in units for node in unit["nodes"]})
        self.assertEqual({unit["driver"] for unit in units}, {"virtio_scsi", "scsi_debug"})
        self.assertTrue(all(unit["time_to_answer_us"] > 0 for unit in units))

    def test_a_recabling_is_followed(self):
        library = self.tape_library()
        first = kernel_with(library, [(1, 1), (2, 2), (3, 3)], REPORT + "devprep configure\n")
        self.assertEqual(first["status"].strip(), "0", first["output"])
        script = ("cat >registry.reg <<'END'\n" + first["registry.reg"] + "END\n" + REPORT +
                  "devprep configure --json >configure.json\ndevprep devices --json >devices.json\n")
        second = kernel_with(library, [(1, 6), (2, 1), (3, 4)], script)
        self.assertEqual(second["status"].strip(), "0", second["output"])
        devices = json_of(second, "configure")["devices"]
        moves = {(device["old_address"], device["new_address"], device["recognised_by"])
                 for device in devices}
        self.assertEqual(moves, {("0:0:1:0", "0:0:6:0", "serial_number"),
                                 ("0:0:2:0", "0:0:1:0", "serial_number"),
                                 ("0:0:3:0", "0:0:4:0", "serial_number")}, first["output"])
        self.assertEqual(len(json_of(second, "devices")["devices"]), 3)

    def test_dead_devices_and_closed_nodes_are_named(self):
        # Every command is swallowed from some moment on: opts=4 of scsi_debug.
        script = """
        modprobe scsi_debug ptype=1 lbpu=0 max_luns=3
        sleep 1
        echo 4 >/sys/bus/pseudo/drivers/scsi_debug/opts
        echo 1 >/sys/bus/pseudo/drivers/scsi_debug/every_nth
        start=$(cut -d' ' -f1 /proc/uptime)
        devprep --timeout 2 hardware >dead 2>&1
        echo "$start $(cut -d' ' -f1 /proc/uptime)" >times
        echo 0 >/sys/bus/pseudo/drivers/scsi_debug/every_nth
        echo 0 >/sys/bus/pseudo/drivers/scsi_debug/opts
        rm /dev/sg1
        devprep hardware >without 2>&1
        mkdir -p /etc
        echo 'user:x:1000:1000::/:/bin/sh' >/etc/passwd
        su -s /bin/sh user -c "devprep hardware" >as_user 2>&1
        """
        out = guest_kernel.run(CACHE, [DEVPREP], script)
        self.assertEqual(out["dead"].count("did not answer within 2 s"), 3, out["dead"])
        start, end = map(float, out["times"].split())
        self.assertLess(end - start, 3 * 2 - 1)  # all at once; the program's own start is slow there
        self.assertEqual(out["without"].count("cannot open /dev/sg1"), 1, out["without"])
        self.assertEqual(out["as_user"].count("Permission denied (run as root)"), 2, out["as_user"])


if __name__ == "__main__":
    CACHE = sys.argv.pop(2)
    DEVPREP = sys.argv.pop(1)
    unittest.main(verbosity=2)
