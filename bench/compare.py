#!/usr/bin/env python3
"""Times `k2r record` beside another program on the same bytes, in turn, and prints the ratio pair by pair.

    compare.py BUILD INPUT --out FOLDER [--against BUILD | --against ffmpeg --mp4 FILE] [--runs N] [--durability process]

INPUT is a tag stream or a media file. `ffmpeg` copies FILE into a fragmented MP4. FOLDER decides whether memory files
(/dev/shm) or a disk are measured; what is written there is removed, and the removal is not timed. The figures are the
system's own for each process: CPU is user and system time."""

import argparse
import os
import shutil
import statistics
import subprocess
import time


def run(command, folder):
    """Returns CPU seconds, wall seconds and peak memory in MiB."""
    shutil.rmtree(f"{folder}/compared", ignore_errors=True)
    os.makedirs(f"{folder}/compared")
    os.sync()  # None waits for what the one before has not written yet.
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    errors = process.stderr.read()
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        raise SystemExit(f"{command[0]} ended with {os.waitstatus_to_exitcode(status)}: {errors.decode()}")
    return usage.ru_utime + usage.ru_stime, time.monotonic() - begin, usage.ru_maxrss / 1024


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("input")
    parser.add_argument("--out", required=True)
    parser.add_argument("--against", default="ffmpeg")
    parser.add_argument("--mp4")
    parser.add_argument("--runs", type=int, default=9)
    parser.add_argument("--durability", default="process")
    options = parser.parse_args()

    def recorder(build):
        return [f"{build}/bin/k2r", "record", options.input, "--out", f"{options.out}/compared/recording", "--durability",
                options.durability, "--quiet"]
    first = recorder(options.build)
    second = recorder(options.against) if options.against != "ffmpeg" else [
        "ffmpeg", "-y", "-loglevel", "error", "-i", options.mp4 or options.input, "-c", "copy", "-movflags",
        "frag_keyframe+empty_moov", "-f", "mp4", f"{options.out}/compared/copy.mp4"]
    run(first, options.out), run(second, options.out)
    pairs = [(run(first, options.out), run(second, options.out)) for _ in range(options.runs)]
    shutil.rmtree(f"{options.out}/compared")
    for index, name in enumerate(("CPU s", "wall s", "peak MiB")):
        ratios = [a[index] / b[index] for a, b in pairs]
        print(f"{name:9} {statistics.median(a[index] for a, _ in pairs):8.3f} against "
              f"{statistics.median(b[index] for _, b in pairs):8.3f}, ratio {statistics.median(ratios):.3f} "
              f"({min(ratios):.3f} to {max(ratios):.3f})")


if __name__ == "__main__":
    main()
