# SPDX-License-Identifier: MIT
"""The test programs that need a sequencer, each with all of its cases."""

import json
import subprocess

from scenario import SCRATCH, Scenario


class Programs(Scenario):
    def run_cases(self, folder, program, cases="*"):
        """All these cases of a program pass and none is left out; their number."""
        program = self.program(f"tests/{folder}/{program}")
        report = SCRATCH / f"{program.name}.json"
        done = subprocess.run([program, f"--gtest_output=json:{report}", f"--gtest_filter={cases}"],
                              capture_output=True, text=True, check=False)
        (SCRATCH / f"{program.name}.txt").write_text(done.stdout + done.stderr)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        cases = [case for suite in json.loads(report.read_text())["testsuites"]
                 for case in suite["testsuite"]]
        self.assertEqual([case for case in cases if case["result"] != "COMPLETED"], [])
        return len(cases)

    def test_the_whole_backend_contract_holds_over_the_sequencer(self):
        self.assertGreater(
            self.run_cases("midi_service", "sequencer_test", "Alsa/BackendContract.*"), 20)

    def test_the_backend_passes_its_own_tests(self):
        self.assertGreater(
            self.run_cases("midi_service", "sequencer_test", "-Alsa/BackendContract.*"), 15)

    def test_calls_of_the_system_are_as_many_as_needed_and_may_fail(self):
        self.assertGreater(self.run_cases("midi_service", "sequencer_calls_test"), 5)

    def test_presses_over_the_sequencer(self):
        self.assertGreater(self.run_cases("screen", "alsa_presses_test"), 0)
