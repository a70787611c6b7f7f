#!/usr/bin/env python3
"""Lints the playbook that gathers captures, and runs it on machines that all are this one.

usage: gather_test.py TOOL EXAMPLES
"""

import os
import shutil
import subprocess
import sys
import tempfile

tool, examples = map(os.path.abspath, sys.argv[1:])
playbook = os.path.join(examples, "gather-estate.yml")
hosts = ["alpha", "beta"]

for program in ("ansible-lint", "ansible-playbook"):
    if shutil.which(program) is None:
        sys.exit(f"The playbook was NOT tried: there is no {program}. 'scripts/setup test' installs it.")
with tempfile.TemporaryDirectory() as work:
    # A tool that stands on the path of every machine, and a captured one that stands for it.
    os.mkdir(f"{work}/bin")
    os.symlink(tool, f"{work}/bin/devprep")
    shutil.copy(f"{examples}/recabling/configuration.reg", f"{work}/my.reg")
    with open(f"{work}/my.reg", "ab") as file:  # a text that is no UTF-8
        file.write(b'\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Elsewhere]\n"a"="caf\xe9"\n')
    environment = {key: value for key, value in os.environ.items() if not key.startswith("DEVPREP_")}
    environment.update(
        HOME=work, PWD=work, PATH=f"{work}/bin:{environment['PATH']}", LC_ALL="C.UTF-8",
        DEVPREP_REGISTRY=f"{work}/my.reg", DEVPREP_HARDWARE=f"{examples}/recabling/machine.reg")

    def run(*command, status=0):
        done = subprocess.run(command, cwd=work, env=environment, text=True, errors="replace",
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if done.returncode != status:
            sys.exit(f"{' '.join(command)}: exit status {done.returncode}\n{done.stdout}")
        return done.stdout

    def gather(status=0):
        return run("ansible-playbook", "-i", ",".join(hosts), "--connection", "local", "-e", "ansible_become=false",
                   "-e", f"ansible_python_interpreter={sys.executable}", playbook, status=status)

    run("ansible-lint", "--offline", "--profile", "production", playbook)
    gather()
    run("devprep", "capture", "--with-registry", "direct.reg")
    for host in hosts:
        if open(f"{work}/estate/{host}.reg", "rb").read() != open(f"{work}/direct.reg", "rb").read():
            sys.exit(f"{host}: what was gathered is not what the machine is")
    listed = run("devprep", "estate", "estate")
    if "2 machines, 2 changers and 4 drives, on which all agree." not in listed:
        sys.exit(listed)
    # A machine that can no longer be captured leaves nothing behind that would be compared.
    environment["DEVPREP_HARDWARE"] = f"{work}/nowhere.reg"
    if "there is no such hardware capture" not in gather(status=2) or os.listdir(f"{work}/estate"):
        sys.exit("a capture that failed left an earlier one")
