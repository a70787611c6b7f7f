#!/usr/bin/env python3
"""The metrics of devprep check, and what is shipped beside them, in Prometheus and its node exporter.

usage: monitoring_test.py TOOL SOURCE UNITS
UNITS: the folder with the units as they are built.
"""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse
import urllib.request

TOOL, SOURCE, UNITS = (os.path.abspath(sys.argv.pop(1)) for _ in range(3))
sys.path.insert(0, os.path.join(SOURCE, "tests/hardware"))
from tape_library import UNCOUNTED, TapeLibrary, free_port  # noqa: E402

EXAMPLES = os.path.join(SOURCE, "examples")
ALERTS = os.path.join(SOURCE, "monitoring/alerts.yml")
LAST_GOOD = "devprep_last_good_check_timestamp_seconds"

PROMETHEUS = """
global: {{scrape_interval: 500ms, scrape_timeout: 500ms, evaluation_interval: 500ms}}
rule_files: [{alerts}]
scrape_configs:
  - job_name: node
    static_configs: [{{targets: ["127.0.0.1:{port}"]}}]
"""


def content(name):
    if not os.path.exists(name):
        return None
    with open(name, encoding="latin-1") as file:
        return file.read()


class MonitoringTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="devprep-monitoring-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.registry = self.path("registry.reg")
        os.mkdir(self.path("textfiles"))
        self.metrics = self.path("textfiles/devprep.prom")

    def path(self, name):
        return os.path.join(self.folder, name)

    def tool(self, *arguments, hardware, registry=None):
        environment = {key: value for key, value in os.environ.items() if not key.startswith("DEVPREP_")}
        environment.update(DEVPREP_HARDWARE=hardware, DEVPREP_REGISTRY=registry or self.registry)
        return subprocess.run([TOOL, *arguments], env=environment, capture_output=True, text=True)

    def check(self, hardware, status, registry=None):
        """The samples after a check, as promtool lets them pass."""
        done = self.tool("check", "--metrics", self.metrics, hardware=hardware, registry=registry)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        with open(self.metrics, "rb") as file:
            text = file.read()
        linted = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True)
        self.assertEqual((linted.returncode, linted.stdout, linted.stderr), (0, b"", b""), text)
        samples = dict(re.findall(r"^([^#\n].*) (\S+)$", text.decode(), re.M))
        self.assertEqual(samples["devprep_check_exit_status"], str(status))
        self.assertLess(abs(time.time() - int(samples["devprep_last_check_timestamp_seconds"])), 600)
        return samples

    def copy(self, example, changes=()):
        with open(f"{EXAMPLES}/{example}", encoding="latin-1") as file:
            text = file.read()
        for old, new in changes:
            self.assertIn(old, text)
            text = text.replace(old, new)
        name = self.path(example.replace("/", "-"))
        with open(name, "w", encoding="latin-1") as file:
            file.write(text)
        return name

    def values(self, samples, name, label):
        return {match.group(1): value for key, value in samples.items()
                if (match := re.match(rf'{name}{{{label}="([^"]*)"', key))}

    def test_metrics_tell_what_the_check_tells(self):
        recabled = self.check(f"{EXAMPLES}/recabling/machine.reg", 4,
                              self.copy("recabling/configuration.reg"))
        self.assertEqual(self.values(recabled, "devprep_deviations", "code"),
                         {"gone": "1", "moved": "3", "replaced": "0", "silent": "0", "new": "2",
                          "reserved_drive_missing": "1", "raid_incomplete": "0"})
        self.assertEqual(set(self.values(recabled, "devprep_dangers", "code").values()), {"0"})
        self.assertEqual(len(self.values(recabled, "devprep_dangers", "code")), 10)
        self.assertEqual((recabled["devprep_devices_configured"], recabled["devprep_devices_found"]), ("7", "8"))
        self.assertEqual({n for n, up in self.values(recabled, "devprep_device_up", "device").items() if up == "0"},
                         {"5"})
        for info in ('device="5",address="1:0:2:0",type="tape_drive",vendor="VETERAN",product="OLDTIMER",'
                     'revision="9.0",serial_number="OLD-0007",world_wide_id=""',
                     'device="",address="1:0:3:0",type="tape_drive",vendor="ACME",product="STREAMER-10",'
                     'revision="B2C1",serial_number="DRV-0100",world_wide_id=""'):
            self.assertEqual(recabled[f"devprep_device_info{{{info}}}"], "1")
        raids = self.check(f"{EXAMPLES}/raids/machine.reg", 4, self.copy("raids/configuration.reg"))
        self.assertEqual(self.values(raids, "devprep_raid_complete", "raid"), {"0": "1", "1": "0"})
        self.assertEqual((raids["devprep_raids_configured"], raids["devprep_raids_incomplete"]), ("2", "1"))
        # Nothing attached and something configured is a danger; serial numbers may hold anything.
        none = self.path("none.reg")
        with open(none, "w") as file:
            file.write("REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\HARDWARE\\DEVICEMAP\\Scsi]\n")
        gone = self.check(none, 5, self.copy("raids/configuration.reg"))
        self.assertEqual(self.values(gone, "devprep_dangers", "code")["nothing-found"], "1")
        hostile = self.copy("raids/machine.reg", [("2d,30,30,30,31", '22,5c,6e,7b,7d')])
        odd = self.check(hostile, 4, self.path("empty.reg"))
        self.assertTrue([key for key in odd if r'serial_number="DRV\"\\n{}"' in key], odd)

    def test_the_last_good_check_is_kept(self):
        machine = f"{EXAMPLES}/library/machine.reg"
        new = self.check(machine, 4)
        self.assertEqual(new[LAST_GOOD], "0")
        self.assertEqual(self.tool("configure", hardware=machine).returncode, 0)
        good = self.check(machine, 0)
        self.assertEqual(good[LAST_GOOD], good["devprep_last_check_timestamp_seconds"])
        with open(self.metrics) as file:
            text = file.read()
        with open(self.metrics, "w") as file:
            file.write(re.sub(rf"(?m)^{LAST_GOOD} .*", f"{LAST_GOOD} 1234567890", text))
        for hardware, registry, status in ((f"{EXAMPLES}/raids/machine.reg", None, 4),
                                           (self.path("missing.reg"), None, 1),
                                           (machine, os.path.join(SOURCE, "README.md"), 1)):
            samples = self.check(hardware, status, registry)
            self.assertEqual(samples[LAST_GOOD], "1234567890")
            self.assertEqual("devprep_devices_found" in samples, status != 1)
        self.assertGreater(int(self.check(machine, 0)[LAST_GOOD]), 1234567890)
        self.assertEqual(os.listdir(os.path.dirname(self.metrics)), ["devprep.prom"])

    def test_what_cannot_be_written_keeps_nothing_back(self):
        machine = f"{EXAMPLES}/recabling/machine.reg"
        for name, words in ((self.copy("recabling/configuration.reg"), "these are no metrics"),
                            (self.path("no/folder.prom"), "No such file or directory")):
            before = content(name)
            done = self.tool("check", "--metrics", name, hardware=machine)
            self.assertEqual(done.returncode, 1)
            self.assertIn(words, done.stderr)
            self.assertEqual(done.stdout, self.tool("check", hardware=machine).stdout)
            report = self.tool("check", "--json", "--metrics", name, hardware=machine)
            self.assertEqual(report.returncode, 1)
            self.assertIn(words, json.loads(report.stdout)["error"]["message"])
            self.assertEqual(len(json.loads(report.stdout)["deviations"]), 8)
            self.assertEqual(content(name), before)
        self.assertEqual(self.tool("check", "--metrics", "-", hardware=machine).returncode, 2)

    def test_rules_and_units_are_sound(self):
        shutil.copy(ALERTS, self.folder)
        shutil.copy(os.path.join(SOURCE, "tests/monitoring/alerts_test.yml"), self.folder)
        with open(f"{UNITS}/devprep-check.service") as file, open(self.path("devprep-check.service"), "w") as to:
            to.write(re.sub(r"(?m)^ExecStart=.*", f"ExecStart={UNITS}/check-to-journal", file.read()))
        shutil.copy(os.path.join(SOURCE, "monitoring/devprep-check.timer"), self.folder)
        for command in (["promtool", "check", "rules", "alerts.yml"], ["promtool", "test", "rules", "alerts_test.yml"],
                        ["systemd-analyze", "verify", "--man=no", self.path("devprep-check.service"),
                         self.path("devprep-check.timer")]):
            done = subprocess.run(command, cwd=self.folder, capture_output=True, text=True)
            # What it says of other units of this machine is not ours.
            self.assertEqual((done.returncode, re.findall("devprep-check.*", done.stderr)), (0, []),
                             done.stdout + done.stderr)

    def start(self, *command):
        with open(self.path(os.path.basename(command[0]) + ".log"), "wb") as log:
            process = subprocess.Popen(command, cwd=self.folder, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

    def query(self, expression):
        """[(labels, value)] of an instant query."""
        url = f"http://127.0.0.1:{self.port}/api/v1/query?" + urllib.parse.urlencode({"query": expression})
        with urllib.request.urlopen(url, timeout=30) as answer:
            return [(r["metric"], r["value"][1]) for r in json.load(answer)["data"]["result"]]

    def wait_for(self, expression, wanted):
        for _ in range(240):
            try:
                found = self.query(expression)
                if wanted(found):
                    return found
            except OSError as error:  # not up yet
                found = error
            time.sleep(0.25)
        logs = [content(self.path(name)) for name in os.listdir(self.folder) if name.endswith(".log")]
        self.fail(f"{expression}: {found}\n" + "\n".join(logs))

    def test_an_unplugged_drive_fires_the_alert(self):
        library = TapeLibrary()
        self.addCleanup(library.close)
        library.add_target("library")
        library.add_changer("library", 1, "ROBOT001" + UNCOUNTED)
        for lun in (2, 3, 4):
            library.add_drive("library", lun, f"DRIVE00{lun}" + UNCOUNTED, product=f"STREAMER-{lun}")
        self.assertEqual(self.tool("configure", hardware=library.url).returncode, 0)
        drives = [device["number"] for device in json.loads(self.tool(
            "devices", "--json", hardware=library.url).stdout)["devices"] if device["type"] == "tape_drive"]
        for edit in (["raid", "create"], ["raid", "assign", "0", str(drives[0])]):
            self.assertEqual(self.tool(*edit, hardware=library.url).returncode, 0)
        self.check(library.url, 0)

        exporter, self.port = free_port(), free_port()
        with open(self.path("prometheus.yml"), "w") as file:
            file.write(PROMETHEUS.format(alerts=ALERTS, port=exporter))
        self.start("prometheus-node-exporter", "--collector.disable-defaults", "--collector.textfile",
                   "--collector.textfile.directory", self.path("textfiles"),
                   f"--web.listen-address=127.0.0.1:{exporter}")
        self.start("prometheus", "--config.file=prometheus.yml", "--storage.tsdb.path=data",
                   f"--web.listen-address=127.0.0.1:{self.port}")
        up = self.wait_for("devprep_device_up", lambda found: len(found) >= 4)
        self.assertEqual({value for _, value in up}, {"1"})
        self.assertEqual(self.query("node_textfile_scrape_error")[0][1], "0")
        self.assertEqual(self.query("ALERTS"), [])

        library.remove_unit("library", 3)
        library.add_drive("library", 5, "DRIVE005" + UNCOUNTED, product="STREAMER-5")
        self.check(library.url, 4)
        (labels, _), = self.wait_for('ALERTS{alertname="DevprepDeviceDown",alertstate="firing"}', bool)
        # What a record keeps of it.
        self.assertEqual((labels["device"], labels["serial_number"], labels["product"]),
                         (str(drives[1]), "DRIVE003", "STREAMER-3"))
        self.check_dashboard()
        library.add_drive("library", 3, "DRIVE003" + UNCOUNTED, product="STREAMER-3")
        library.remove_unit("library", 5)
        self.check(library.url, 0)
        self.wait_for("ALERTS", lambda found: not found)

    def check_dashboard(self):
        """Each query of the dashboard has an answer."""
        with open(os.path.join(SOURCE, "monitoring/dashboard.json")) as file:
            dashboard = json.load(file)
        queries = [target["expr"] for panel in dashboard["panels"] for target in panel["targets"]]
        self.assertGreater(len(queries), 10)
        for query in queries:
            expression = query.replace("$job", ".*").replace("$instance", ".*")
            self.assertNotIn("$", expression)
            # There are no dangers in this machine.
            self.assertTrue(self.query(expression.replace("} > 0", "}")), expression)


if __name__ == "__main__":
    for program in ("promtool", "prometheus", "prometheus-node-exporter", "systemd-analyze"):
        if shutil.which(program) is None:
            sys.exit(f"The metrics were NOT tried: there is no {program}. 'scripts/setup test' installs it.")
    unittest.main(verbosity=2)
