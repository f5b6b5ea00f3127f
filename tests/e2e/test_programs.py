# SPDX-License-Identifier: MIT
"""The test programs that need a sequencer, each with all of its cases."""

import json
import subprocess

from scenario import SCRATCH, Scenario


class Programs(Scenario):
    def run_cases(self, program):
        """All cases pass and none is left out; their number."""
        report = SCRATCH / f"{program.name}.json"
        done = subprocess.run([program, f"--gtest_output=json:{report}"], capture_output=True,
                              text=True, check=False)
        (SCRATCH / f"{program.name}.txt").write_text(done.stdout + done.stderr)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        cases = [case for suite in json.loads(report.read_text())["testsuites"]
                 for case in suite["testsuite"]]
        self.assertEqual([case for case in cases if case["result"] != "COMPLETED"], [])
        return len(cases)

    def test_the_whole_backend_contract_holds_over_the_sequencer(self):
        program = self.program("tests/midi_service/alsa_contract_test")
        self.assertGreater(self.run_cases(program), 20)

    def test_every_other_test_of_the_backend_passes(self):
        programs = sorted(self.program("tests").glob("*/alsa_*_test"))
        self.assertGreater(len(programs), 1)
        for program in programs:
            if program.name not in ("alsa_contract_test", "alsa_absent_test"):
                with self.subTest(program=program.name):
                    self.assertGreater(self.run_cases(program), 0)
