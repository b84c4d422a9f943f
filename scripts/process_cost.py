"""What processes cost, for the scripts that measure the daemon."""

import os
import re
import resource
import sys
import time

TICKS = os.sysconf("SC_CLK_TCK")


def cpu_seconds(pids):
    """User and system time of processes that still run, without their children."""
    total = 0
    for pid in pids:
        with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
            fields = stat.read().rsplit(")", 1)[1].split()
        total += int(fields[11]) + int(fields[12])
    return total / TICKS


def pss_bytes(pids):
    """Memory of processes; a page that several have counts for each with its share."""
    total = 0
    for pid in pids:
        with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as rollup:
            total += int(re.search(r"^Pss:\s+(\d+) kB", rollup.read(), re.MULTILINE)[1]) * 1024
    return total


def count_of(pid, what):
    """How many threads (`task`) or open files (`fd`) a process has."""
    return len(os.listdir(f"/proc/{pid}/{what}"))


def is_running(process):
    return process.poll() is None


def end_all(processes):
    """Ends processes that this program started, and waits for them."""
    for process in processes:
        if is_running(process):
            process.terminate()
    for process in processes:
        process.wait()


def allow_descriptors():
    """For this process and what it starts."""
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))


class Machine:
    """How busy the machine was while something was measured: figures of a busy machine say less."""

    def __init__(self):
        self.begin = self._times()

    @staticmethod
    def _times():
        with open("/proc/stat", encoding="ascii") as stat:
            fields = [int(field) for field in stat.readline().split()[1:9]]
        return sum(fields), fields[3] + fields[4]

    def idle(self):
        """Share of the processors' time that nobody used, since the construction."""
        total, idle = (now - then for now, then in zip(self._times(), self.begin))
        return round(idle / max(total, 1), 2)


def percentile(values, share):
    return sorted(values)[min(int(len(values) * share), len(values) - 1)]


def wait_until(what, ready, seconds):
    until = time.monotonic() + seconds
    while not ready():
        if time.monotonic() > until:
            sys.exit(f"{sys.argv[0]}: {what} took more than {seconds} s")
        time.sleep(0.1)
