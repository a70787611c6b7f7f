#!/usr/bin/env python3
"""The udev rule, the timer and the service, as they are installed, under systemd in a booted kernel
whose tape drives come and go.

usage: hotplug_test.py BUILD CACHE
BUILD: the build folder. CACHE: a folder that keeps the unpacked kernel.
"""
import json
import os
import re
import shutil
import subprocess
import sys
import unittest

import guest_kernel

BUILD = None
CACHE = None

PROGRAMS = ["/bin/dash", "/lib/systemd/systemd", "/lib/systemd/systemd-journald", "/bin/udevadm", "/bin/systemctl",
            "/bin/journalctl", "/usr/bin/jq", "/usr/bin/logger"]
UNITS = re.compile(r"systemd-journald(-dev-log)?\.(service|socket)|systemd-udevd(-control|-kernel)?\.(service|socket)"
                   r"|(sysinit|basic|sockets|timers|paths|slices|local-fs|shutdown)\.target")

WORK = """[Unit]
After=basic.target systemd-journald.service systemd-udevd.service
[Service]
StandardOutput=tty
ExecStart=/work/run
"""

# The time for settling is shorter than on a machine of flesh and blood.
SETTLE = """[Timer]
OnActiveSec=
OnActiveSec=8s
"""

# Each step waits until the journal has the whole of one more check.
SCRIPT = """
set -eu
checked() {
  for i in $(seq 120); do
    journalctl -q -o cat -t devprep-check --output-fields=DEVPREP_CODE,MESSAGE >/tmp/seen
    [ "$(grep -c -e '^All is' -e 'exit status' /tmp/seen)" -ge $1 ] && return
    sleep 1
  done
  journalctl --no-pager | tail -50
  exit 1
}
unit() { echo /sys/class/scsi_device/0:0:0:$1/device; }

modprobe scsi_debug ptype=1 lbpu=0 max_luns=3
udevadm settle
systemctl is-active devprep-check.timer >at_first || true
devprep configure
systemctl start devprep-check.timer
checked 1
echo 1 >$(unit 1)/delete
sleep 1
echo 1 >$(unit 2)/delete
checked 2
systemctl show -p ExecMainStatus,Result devprep-check.service >shown
cp /var/lib/prometheus/node-exporter/devprep.prom .
echo '- - -' >/sys/class/scsi_host/host0/scan
checked 3
echo 1 >$(unit 2)/delete
checked 4
echo change >$(unit 0)/uevent
checked 5
sleep 10
journalctl -q -o json -u devprep-check.service >journal
"""


def add_systemd(tree):
    for program in PROGRAMS:
        guest_kernel.add_program(program, tree)
    os.symlink("/bin/dash", tree + "/bin/sh")
    os.symlink("/bin/udevadm", tree + "/lib/systemd/systemd-udevd")
    for name in filter(UNITS.fullmatch, os.listdir("/lib/systemd/system")):
        os.makedirs(tree + "/lib/systemd/system", exist_ok=True)
        shutil.copy("/lib/systemd/system/" + name, tree + "/lib/systemd/system")
    subprocess.run(["cmake", "--install", BUILD, "--component", "tool"], check=True,
                   stdout=subprocess.DEVNULL, env=dict(os.environ, DESTDIR=tree))
    for name, text in (("etc/passwd", "root:x:0:0::/:/bin/sh\n"), ("etc/group", "root:x:0:\n"),
                       ("etc/machine-id", "0123456789abcdef0123456789abcdef\n"),
                       ("etc/systemd/system/default.target", "[Unit]\nRequires=basic.target\nWants=systemd-journald.service systemd-udevd.service work.service\n"),
                       ("etc/systemd/system/work.service", WORK),
                       ("etc/systemd/system/devprep-check.timer.d/settle.conf", SETTLE),
                       ("var/lib/prometheus/node-exporter/.keep", "")):
        os.makedirs(os.path.dirname(os.path.join(tree, name)), exist_ok=True)
        with open(os.path.join(tree, name), "w") as file:
            file.write(text)


class HotplugTest(unittest.TestCase):
    def test_a_check_follows_what_comes_and_goes(self):
        out = guest_kernel.run(CACHE, [BUILD + "/devprep"], SCRIPT, timeout=600, prepare=add_systemd,
                               start="/lib/systemd/systemd")
        self.assertEqual(out["status"].strip(), "0", out["output"])
        # A timer that nobody started is left alone.
        self.assertEqual(out["at_first"].strip(), "inactive")
        # Among what systemd says of the service.
        entries = [entry for entry in map(json.loads, out["journal"].splitlines())
                   if entry["SYSLOG_IDENTIFIER"] == "devprep-check"]
        told = [tuple(int(entry[field]) if entry[field].isdigit() else entry[field] for field in
                      ("DEVPREP_EXIT_STATUS", "PRIORITY", "DEVPREP_CODE", "DEVPREP_OF"))
                for entry in entries]
        self.assertEqual(told, [
            (0, 6, "", ""),
            # Two drives that went one after the other are one check's finding.
            (5, 3, "mass-loss", ""), (5, 4, "gone", "device 1"), (5, 4, "gone", "device 2"), (5, 3, "", ""),
            (0, 6, "", ""),
            (4, 4, "gone", "device 2"), (4, 4, "", ""),
            (4, 4, "gone", "device 2"), (4, 4, "", "")], out["journal"])
        self.assertTrue(entries[2]["MESSAGE"].startswith("gone device 1: not attached: tape drive"))
        self.assertEqual(out["shown"].split(), ["Result=success", "ExecMainStatus=5"])
        metrics = dict(re.findall(r"^(\S+) (\S+)$", out["devprep.prom"], re.M))
        self.assertEqual([metrics[f'devprep_device_up{{device="{n}"}}'] for n in range(3)], ["1", "0", "0"])
        self.assertGreater(float(metrics['devprep_device_answer_seconds{device="0"}']), 0)
        self.assertEqual(metrics["devprep_check_exit_status"], "5")
        self.assertGreater(int(metrics["devprep_last_good_check_timestamp_seconds"]), 0)


if __name__ == "__main__":
    CACHE = sys.argv.pop(2)
    BUILD = sys.argv.pop(1)
    unittest.main(verbosity=2)
