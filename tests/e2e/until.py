# SPDX-License-Identifier: MIT
"""Waiting for something to become true."""

import time

# The guest is emulated and the host may be busy: a wait that ends in failure may take long.
PATIENCE = 90


def until(what, condition, seconds=PATIENCE, every=0.02):
    """The first true result of `condition`, tried `every` so many seconds; AssertionError when none
    comes in time."""
    deadline = time.monotonic() + seconds
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {seconds} s in vain for {what}")
        time.sleep(every)
