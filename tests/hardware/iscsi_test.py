#!/usr/bin/env python3
"""The tool on iSCSI tape libraries that this test sets up itself.

usage: iscsi_test.py DEVPREP
"""
import json
import os
import signal
import subprocess
import sys
import tempfile
import unittest

sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
import json_schemas
from tape_library import PREFIX, UNCOUNTED, BusyProxy, CuttingProxy, TapeLibrary, free_port

DEVPREP = None


class Run:
    def __init__(self, *arguments, hardware, registry, timeout=None, pass_fds=(), **environment):
        command = [DEVPREP, "--registry", registry, "--hardware", hardware]
        if timeout:
            command += ["--timeout", str(timeout)]
        done = subprocess.run(command + list(arguments), capture_output=True, text=True,
                              pass_fds=pass_fds, env=dict(os.environ, **environment), timeout=60)
        self.status, self.out, self.err = done.returncode, done.stdout, done.stderr
        self.arguments = arguments

    @property
    def json(self):
        complaints = json_schemas.check(self.arguments, self.status, self.out)
        assert not complaints, complaints
        return json.loads(self.out)


class IscsiTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="devprep-iscsi-")
        self.addCleanup(self.folder.cleanup)
        self.registry = self.path("registry.reg")
        self.library = TapeLibrary()
        self.addCleanup(self.library.close)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def run_tool(self, *arguments, hardware=None, registry=None, **environment):
        return Run(*arguments, hardware=hardware or self.library.url,
                   registry=registry or self.registry, **environment)

    def add_two_libraries(self):
        # The second is made first: the order of names counts.
        self.library.add_target("small")
        self.library.add_drive("small", 5, "SMALL001" + UNCOUNTED)
        self.library.add_target("big")
        self.library.add_drive("big", 1, "BIG00001" + UNCOUNTED)
        self.library.add_drive("big", 2, "BIG00002" + UNCOUNTED, product="STREAMER-10")
        self.library.add_changer("big", 3, "BIGROBOT" + UNCOUNTED)

    def test_every_unit_of_every_target_is_found(self):
        self.add_two_libraries()
        run = self.run_tool("hardware", "--json")
        self.assertEqual((run.status, run.err), (0, ""))
        found = [(unit["address"], unit["type"], unit["description"], unit["serial_number"],
                  unit["world_wide_id"], unit["driver"]) for unit in run.json["units"]
                 if unit["type"] != "processor"]
        self.assertEqual(found, [
            ("0:0:0:1", "tape_drive", "ACME    STREAMER-9      A1B1", "BIG00001" + UNCOUNTED,
             "3000000200000001", "iscsi"),
            ("0:0:0:2", "tape_drive", "ACME    STREAMER-10     A1B1", "BIG00002" + UNCOUNTED,
             "3000000200000002", "iscsi"),
            ("0:0:0:3", "changer", "ACME    ROBOT-40        R100", "BIGROBOT" + UNCOUNTED,
             "3000000200000003", "iscsi"),
            ("0:0:1:5", "tape_drive", "ACME    STREAMER-9      A1B1", "SMALL001" + UNCOUNTED,
             "3000000100000005", "iscsi")])
        self.assertEqual(run.json["warnings"], [])
        one = self.run_tool("hardware", "--json", hardware=f"{self.library.url}/{PREFIX}small")
        self.assertEqual([unit["address"] for unit in one.json["units"]], ["0:0:0:0", "0:0:0:5"])

    def test_a_capture_replays_the_machine(self):
        self.add_two_libraries()
        capture = self.path("machine.reg")
        self.assertEqual(self.run_tool("capture", capture).status, 0)
        self.assertEqual(self.run_tool("configure").status, 0)
        replayed = self.path("replayed.reg")
        self.assertEqual(
            self.run_tool("configure", hardware=capture, registry=replayed).status, 0)
        with open(self.registry) as live, open(replayed) as replay:
            self.assertEqual(live.read(), replay.read())
        self.assertEqual(self.run_tool("devices", "--json").out,
                         self.run_tool("devices", "--json", hardware=capture).out)

        redacted = self.path("redacted.reg")
        self.assertEqual(self.run_tool("capture", "--redact", redacted).status, 0)
        with open(redacted) as text, open(capture) as open_text:
            bytes_of = lambda serial: ",".join(f"{ord(c):02x}" for c in serial)
            original, hidden = open_text.read(), text.read()
            self.assertEqual(len(original), len(hidden))
            for serial in ("BIG00001", "BIGROBOT", "SMALL001"):
                self.assertIn(bytes_of(serial), original.replace("\\\n  ", ""))
                self.assertNotIn(bytes_of(serial), hidden.replace("\\\n  ", ""))
        units = self.run_tool("hardware", "--json", hardware=redacted).json
        self.assertEqual(units["warnings"], [])
        probed = [unit for unit in units["units"] if unit["type"] != "processor"]
        self.assertEqual(len({unit["serial_number"] for unit in probed}), 4)
        self.assertEqual(len({unit["world_wide_id"] for unit in probed}), 4)

    def test_a_unit_that_is_taken_away_is_gone(self):
        self.add_two_libraries()
        self.assertEqual(self.run_tool("configure").status, 0)
        self.library.remove_unit("big", 2)
        run = self.run_tool("configure", "--json")
        self.assertEqual(run.status, 0, run.err)
        outcomes = {device["description"][8:19].strip() + " " + str(device["old_address"]):
                  device["outcome"] for device in run.json["devices"]
                  if device["type"] != "processor"}
        self.assertEqual(outcomes, {"STREAMER-9 0:0:0:1": "kept", "STREAMER-10 0:0:0:2": "gone",
                                  "ROBOT-40 0:0:0:3": "moved", "STREAMER-9 0:0:1:5": "moved"})

    def assert_fails(self, run, *texts):
        self.assertEqual(run.status, 1, run.out)
        self.assertEqual(len(run.err.splitlines()), 1, run.err)
        for text in texts:
            self.assertIn(text, run.err)
        self.assertFalse(os.path.exists(self.registry), "the configuration was touched")

    def test_a_login_is_taken_from_the_environment_or_a_file(self):
        self.add_two_libraries()
        self.library.demand_login("big", "operator", "correct-horse")
        refused = f"target {PREFIX}big refused the login"
        self.assert_fails(self.run_tool("configure"), refused)
        self.assert_fails(self.run_tool("configure", DEVPREP_ISCSI_USER="operator",
                                        DEVPREP_ISCSI_PASSWORD="wrong-horse-12"), refused)
        right = self.run_tool("hardware", "--json", DEVPREP_ISCSI_USER="operator",
                              DEVPREP_ISCSI_PASSWORD="correct-horse",
                              hardware=f"{self.library.url}/{PREFIX}big")
        self.assertEqual(len(right.json["units"]), 4, right.err)
        credentials = self.path("credentials")
        with open(credentials, "w") as file:
            file.write("operator\ncorrect-horse\n")
        big = f"{self.library.url}/{PREFIX}big"
        for mode, works in ((0o600, True), (0o640, False), (0o604, False)):
            os.chmod(credentials, mode)
            run = self.run_tool("hardware", "--json", DEVPREP_ISCSI_CREDENTIALS=credentials,
                                hardware=big)
            self.assertEqual(run.status, 0 if works else 1, run.err)
            self.assertEqual("chmod 600" in run.out, not works)
        # A process substitution, and a target that proves itself or fails to.
        self.library.prove_identity("big", "robot", "battery-staple")
        for proof, works in (("", True), ("robot\nbattery-staple\n", True),
                             ("robot\nwrong-staple-12\n", False)):
            reading, writing = os.pipe()
            os.write(writing, ("operator\ncorrect-horse\n" + proof).encode())
            os.close(writing)
            run = self.run_tool("hardware", "--json", hardware=big, pass_fds=(reading,),
                                DEVPREP_ISCSI_CREDENTIALS=f"/dev/fd/{reading}")
            os.close(reading)
            self.assertEqual(run.status, 0 if works else 1, run.err)
        self.assert_fails(self.run_tool("configure", DEVPREP_ISCSI_CREDENTIALS="/nonexistent"),
                          "/nonexistent: No such file or directory")

    def test_what_cannot_be_had_leaves_the_configuration_alone(self):
        # tgt ends the connection when it has no target at all.
        self.assert_fails(self.run_tool("configure"), "refused the login: the connection was closed")
        self.add_two_libraries()
        self.assert_fails(self.run_tool("configure", hardware=f"iscsi://127.0.0.1:{free_port()}"),
                          "cannot be reached", "Connection refused")
        self.assert_fails(self.run_tool("configure", hardware=f"{self.library.url}/nobody"),
                          "target nobody refused the login")
        self.assert_fails(self.run_tool("configure", hardware="iscsi://"), "not of the form")

    def test_a_connection_that_breaks_changes_nothing(self):
        self.add_two_libraries()
        self.assertEqual(self.run_tool("configure").status, 0)
        with open(self.registry) as file:
            before = file.read()
        # During the login, while the units are looked at, and while they are asked.
        for most, problem in ((200, "refused the login"), (800, "closed the connection"),
                              (1200, "closed the connection")):
            with self.subTest(most=most):
                proxy = CuttingProxy(self.library.port, most)
                run = self.run_tool("configure",
                                    hardware=f"iscsi://127.0.0.1:{proxy.port}/{PREFIX}big")
                proxy.close()
                self.assertEqual(run.status, 1, run.out)
                self.assertIn(problem, run.err)
                self.assertNotIn("0:0:0:", run.err)
                with open(self.registry) as file:
                    self.assertEqual(file.read(), before)

    def test_a_unit_that_stays_busy_is_a_danger(self):
        self.add_two_libraries()
        ready = f"{self.library.url}/{PREFIX}big"
        self.assertEqual(self.run_tool("configure", hardware=ready).status, 0)
        with open(self.registry) as file:
            before = file.read()
        proxy = BusyProxy(self.library.port, 1)
        self.addCleanup(proxy.close)
        busy = f"iscsi://127.0.0.1:{proxy.port}/{PREFIX}big"
        for command, status in (("plan", 5), ("check", 5), ("configure", 5), ("capture", 1)):
            with self.subTest(command=command):
                file = [self.path("machine.reg")] if command == "capture" else []
                run = self.run_tool(command, *file, hardware=busy, timeout=1)
                self.assertEqual(run.status, status, run.out + run.err)
                self.assertIn("it is busy", run.err.splitlines()[0])
                if command != "capture":
                    self.assertRegex(run.out, r"danger silent: unit 0:0:0:1 \(target iqn.*is busy")
        with open(self.registry) as file:
            self.assertEqual(file.read(), before)
        run = self.run_tool("configure", "--accept", "silent", "--json", hardware=busy, timeout=1)
        self.assertEqual(run.status, 0, run.err)
        self.assertEqual([danger["unit"] for danger in run.json["dangers"]], ["0:0:0:1"])
        self.assertEqual([device["outcome"] for device in run.json["devices"]
                          if device["type"] == "tape_drive"], ["moved", "gone"])

    def test_a_portal_that_says_nothing_is_given_up_at_the_time_limit(self):
        self.add_two_libraries()
        os.kill(self.library.daemon.pid, signal.SIGSTOP)
        try:
            run = self.run_tool("configure", timeout=1)
        finally:
            os.kill(self.library.daemon.pid, signal.SIGCONT)
        self.assert_fails(run, "no answer in time")


if __name__ == "__main__":
    DEVPREP = sys.argv.pop(1)
    unittest.main(verbosity=2)
