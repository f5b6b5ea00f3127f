#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The guest's side of script/bench: prepares what the benchmarks need there and runs them, with the
arguments of rounds.py."""

import rounds

rounds.main()
