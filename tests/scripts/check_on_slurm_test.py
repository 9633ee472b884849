"""scripts/check-on-slurm on a cluster of one machine, which scripts/slurm-on-this-machine starts and stops.

    check_on_slurm_test.py KEP_RG    ends with status 77 where Slurm is not installed
"""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRIPTS = ROOT / "scripts"
EXAMPLES = ROOT / "tests" / "data" / "examples"
SKIPPED = 77
PATIENCE = 120  # seconds; a task takes one or two

# Stands before the tool: notes each run, and stops the first run of a part in the middle, where it waits to be killed.
STOPPING_TOOL = """#!/bin/bash
echo "$*" >>'{folder}/runs'
case "$*" in
*"--shard {part}/"*)
  if mkdir '{folder}/stopped' 2>/dev/null; then
    '{tool}' "$@" &
    kill -STOP $!
    echo $! >'{folder}/process.new' && mv '{folder}/process.new' '{folder}/process'
    wait $!
    exit
  fi ;;
esac
exec '{tool}' "$@"
"""


def find_missing_programs():
    path = os.environ["PATH"] + ":/usr/sbin:/sbin"
    return [name for name in ("munged", "slurmctld", "slurmd", "sbatch", "squeue") if not shutil.which(name, path=path)]


def wait_for(path):
    end = time.monotonic() + PATIENCE
    while not path.exists():
        if time.monotonic() > end:
            raise AssertionError(f"{path} does not come")
        time.sleep(0.05)


class CheckOnSlurm(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.cluster = pathlib.Path(tempfile.mkdtemp(prefix="kep-slurm-", dir="/tmp")) / "cluster"
        cls.cluster.parent.chmod(0o711)
        # Two ports that no other run has.
        cls.environment = dict(os.environ, SLURM_CONF=str(cls.cluster / "slurm.conf"), KEP_SLURM_PORT=str(20000 + 2 * (os.getpid() % 5000)))
        cls.addClassCleanup(shutil.rmtree, cls.cluster.parent, True)
        cls.run_script("slurm-on-this-machine", "start", cls.cluster)
        cls.addClassCleanup(cls.run_script, "slurm-on-this-machine", "stop", cls.cluster)

    @classmethod
    def run_script(cls, name, *arguments):
        done = subprocess.run([SCRIPTS / name, *map(str, arguments)], env=cls.environment, capture_output=True, text=True, timeout=PATIENCE)
        if done.returncode != 0:
            raise AssertionError(f"{name}: {done.stderr}")

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kep-slurm-test-"))
        self.addCleanup(shutil.rmtree, self.folder, True)
        self.device = self.folder / "device.kdb"

    def run_tool(self, *arguments):
        return subprocess.run([TOOL, *map(str, arguments)], capture_output=True, text=True, timeout=PATIENCE)

    def build(self, example):
        at = EXAMPLES / example
        built = self.run_tool("build", "-q", at / "model.json", at / "routing.jsonl", "-o", self.device)
        self.assertEqual(built.returncode, 0, built.stderr)

    def start_check(self, num_parts, *options, tool=None):
        """With what the whole device gives."""
        environment = dict(self.environment, KEP_RG=str(tool or TOOL))
        command = [SCRIPTS / "check-on-slurm", self.device, str(num_parts), *options]
        return subprocess.Popen(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def expect_same_as_whole(self, check, *options):
        out, err = check.communicate(timeout=PATIENCE)
        whole = self.run_tool("check", self.device, *options)
        verdict = whole.stdout[whole.stdout.index("\ntime "):].split("\n", 2)[2]  # behind the summary
        self.assertEqual(out, verdict, err)
        self.assertEqual(check.returncode, whole.returncode, err)
        return err

    def make_stopping_tool(self, part):
        tool = self.folder / "tool"
        tool.write_text(STOPPING_TOOL.format(folder=self.folder, part=part, tool=TOOL))
        tool.chmod(0o755)
        return tool

    def count_runs(self):
        runs = (self.folder / "runs").read_text().splitlines()
        return [sum(f"--shard {part}/3 " in run for run in runs) for part in (1, 2, 3)]

    def test_gives_what_a_check_of_the_whole_device_gives(self):
        self.build("plain_mux_chain")
        self.assertEqual(self.expect_same_as_whole(self.start_check(3)), "")
        self.assertEqual(self.expect_same_as_whole(self.start_check(2, "--trace", "--waive", "unreachable-node"),
                                                   "--trace", "--waive", "unreachable-node"), "")

    def test_runs_a_task_again_that_was_killed_in_the_middle_and_no_other(self):
        self.build("plain_mux_chain")
        check = self.start_check(3, tool=self.make_stopping_tool(2))
        process = self.folder / "process"
        wait_for(process)
        os.kill(int(process.read_text()), signal.SIGKILL)
        self.assertEqual(self.expect_same_as_whole(check), "check-on-slurm: run again: 2\n")
        self.assertEqual(self.count_runs(), [1, 2, 1])

    def test_does_only_what_is_not_done_when_it_is_started_once_more(self):
        self.build("top_ports_routed")
        tool = self.make_stopping_tool(99)
        self.expect_same_as_whole(self.start_check(3, tool=tool))
        (self.folder / "device.kdb.findings" / "part-3.json").unlink()
        self.expect_same_as_whole(self.start_check(3, tool=tool))
        self.assertEqual(self.count_runs(), [1, 1, 2])
        self.build("plain_mux_chain")  # another device of that name
        self.expect_same_as_whole(self.start_check(3, tool=tool))
        self.assertEqual(self.count_runs(), [2, 2, 3])

    def test_says_which_parts_can_not_be_done(self):
        self.build("top_ports_routed")
        check = self.start_check(2, "--waive", "nothing")
        out, err = check.communicate(timeout=PATIENCE)
        self.assertEqual(out, "")
        self.assertIn('no finding has the id "nothing"', (self.folder / "device.kdb.findings" / "part-1.log").read_text())
        self.assertIn("check-on-slurm: not done: parts 1,2 of 2; their logs are in ", err)
        self.assertEqual(check.returncode, 2)


if __name__ == "__main__":
    TOOL = str(pathlib.Path(sys.argv.pop(1)).resolve())
    if find_missing_programs():
        print(f"skipped: not installed: {', '.join(find_missing_programs())} (package slurm-wlm)")
        sys.exit(SKIPPED)
    unittest.main()
