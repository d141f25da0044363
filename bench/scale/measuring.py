"""What the measures of whole programs share."""
import os
import subprocess
import sys
import time


def run(command, output=subprocess.DEVNULL):
    """Seconds, and bytes of memory at the most."""
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=output)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode:
        sys.exit(f"exit status {process.returncode} of {command[0]}")
    return time.monotonic() - begin, usage.ru_maxrss * 1024


def row(name, seconds, **counters):
    """A measure as Google Benchmark writes it."""
    return {"name": name, "run_name": name, "run_type": "iteration", "repetitions": 1, "real_time": seconds,
            "time_unit": "s", **{counter: float(value) for counter, value in counters.items()}}
