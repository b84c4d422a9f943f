#!/usr/bin/env python3
"""Measures what a long archive costs: lists and playlists of a stream with 30 days of recordings, and the start of the
daemon with many recordings on disk. See docs/performance.md.

    serve_lists.py BUILD --out FOLDER [--hours 720] [--whole 24] [--recordings 100000] [--clip FILE]

Needs ffmpeg, 0.5 GB for each hour of --whole, and 100 kB for each of --recordings. The archive is made of one real
recording by bench/catalogBench.cpp: of most hours only both ends of a segment are there, since a list reads no more, and
--whole of them are full copies, from which playlists are made. Run it as root: then the page cache is emptied before
what is called cold, otherwise cold figures are missing. Exits with 1 if a list or a playlist is not complete."""

import argparse
import datetime
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import time

from process_cost import Machine, allow_descriptors, cpu_seconds, end_all, pss_bytes, wait_until
from serve_load import BITS_PER_SECOND, make_clip

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "tests" / "daemon"))
import daemonProcess  # noqa: E402  (the path comes first)

STREAM = "cam0"
HOUR = datetime.timedelta(hours=1)


def empty_page_cache():
    if os.geteuid() != 0:
        return False
    os.sync()
    with open("/proc/sys/vm/drop_caches", "w", encoding="ascii") as drop:
        drop.write("3")
    return True


def make_hour(options):
    """A recording of an hour, or of --seconds: the clip again and again."""
    clip, hour = options.clip or f"{options.out}/clip.ts", options.out / "hour.ts"
    if not options.clip:
        make_clip(clip, min(options.seconds, 600))
    subprocess.run(["ffmpeg", "-y", "-v", "error", "-stream_loop", "-1", "-i", clip, "-t", str(options.seconds), "-c", "copy",
                    "-f", "mpegts", hour], check=True, stdin=subprocess.DEVNULL)
    recording = options.out / "recorded" / "hour"
    recording.parent.mkdir()
    subprocess.run([options.k2r, "record", hour, "--out", recording], check=True, capture_output=True)
    hour.unlink()
    return recording


def make_archive(options, recording, root, streams, count):
    subprocess.run([f"{options.build}/bin/catalog_bench", "make", recording, root, str(streams), str(count)], check=True)


def fill(recording, directory):
    """Makes a full copy of a recording of the archive."""
    for file in recording.iterdir():
        shutil.copyfile(file, directory / (directory.name + file.name.removeprefix(recording.name)))


def begin_of(name):
    return datetime.datetime.strptime(name, "%Y%m%dT%H%M%S.%fZ").replace(tzinfo=datetime.timezone.utc)


def text_of(moment):
    return moment.strftime("%Y-%m-%dT%H:%M:%SZ")


def timed(daemon, path):
    """Milliseconds of a request, and its content."""
    begin = time.monotonic()
    status, _, body = daemon.get(path)
    took = (time.monotonic() - begin) * 1000
    assert status == 200, f"{path}: {status} {body}"
    return took, body


class Archive:
    """A daemon with the archive, and its requests."""

    def __init__(self, options, folder):
        self.options = options
        self.daemon = daemonProcess.Daemon(options.k2r, folder)
        self.state = {"STATE_DIRECTORY": str(folder / "state")}
        self.daemon.configure({STREAM: 'source = "udp://127.0.0.1:9"\nenabled = false'})

    def make(self, recording):
        make_archive(self.options, recording, self.daemon.root, 1, self.options.hours)
        names = [path.name for path in self.daemon.recordings(STREAM)]
        self.begin, self.end = begin_of(names[0]), begin_of(names[-1]) + HOUR
        self.whole = names[-self.options.whole:]
        for name in self.whole:
            fill(recording, self.daemon.root / STREAM / name)

    def start(self):
        self.daemon.port = None
        self.daemon.start(self.state)

    def list(self):
        """Milliseconds for the list of everything."""
        took, body = timed(self.daemon, f"v1/streams/{STREAM}/recordings?start={text_of(self.begin)}&end={text_of(self.end)}")
        count = len(json.loads(body)["recordings"])
        assert count == min(self.options.hours, 1000), f"{count} recordings of {self.options.hours} are listed"
        return took

    def playlist(self, name, hours=1):
        took, body = timed(self.daemon, f"v1/streams/{STREAM}/index.m3u8?start={text_of(begin_of(name))}&duration={hours}h")
        fragments, expected = body.decode().count(".m4s"), self.options.seconds // 4 * hours
        assert abs(fragments - expected) <= 2 * hours, f"{fragments} fragments of {expected} are in the playlist"
        return took


def spread(values):
    return {"median_ms": round(statistics.median(values), 1), "worst_ms": round(max(values), 1)}


def measure_archive(options, recording):
    archive = Archive(options, options.out / "archive")
    archive.make(recording)
    figures = {"recordings": options.hours, "fragments_of_each": options.seconds // 4}
    # Three times: nothing in memory; on the page cache only; and when the daemon has read it.
    for state in ("cold", "page_cache"):
        can_measure = state == "page_cache" or empty_page_cache()
        archive.start()
        if can_measure:
            figures[f"list_{state}_ms"] = round(archive.list(), 1)
            figures[f"playlist_{state}"] = spread([archive.playlist(name) for name in archive.whole])
        if state == "cold":
            archive.list()
            archive.daemon.stop()
    figures["list_warm"] = spread([archive.list() for _ in range(20)])
    figures["playlist_warm"] = spread([archive.playlist(name) for name in archive.whole for _ in range(5)])
    if len(archive.whole) >= 24:
        archive.daemon.stop()
        archive.start()
        figures["playlist_of_a_day_page_cache_ms"] = round(archive.playlist(archive.whole[-24], 24), 1)
        figures["playlist_of_a_day_warm_ms"] = round(archive.playlist(archive.whole[-24], 24), 1)
    figures["pss_mib"] = round(pss_bytes([archive.daemon.process.pid]) / 2**20, 1)
    archive.daemon.stop()
    return figures


def start_until_recording(options, folder, source):
    """Seconds from the start of the process to the recording of a live stream, and to its first fragment on disk."""
    daemon = daemonProcess.Daemon(options.k2r, folder)
    names = [path.name for path in daemon.root.iterdir() if path.name.startswith("cam")]
    daemon.configure({"live": f'source = "{source}"',
                      **{name: 'source = "udp://127.0.0.1:9"\nenabled = false' for name in names}})
    shutil.rmtree(daemon.root / "live", ignore_errors=True)
    begin = time.monotonic()
    daemon.start({"STATE_DIRECTORY": str(folder / "state")})
    wait_until("the recording", lambda: list((daemon.root / "live").glob("*/")), 60)
    recording = time.monotonic() - begin
    wait_until("the first fragment", lambda: list((daemon.root / "live").glob("*/*.bootstrap")), 60)
    fragment = time.monotonic() - begin
    figures = {"recording_s": round(recording, 2), "first_fragment_s": round(fragment, 2)}
    wait_until("the catalog", lambda: daemon.get("readyz")[0] == 200, 900)
    figures |= {"catalog_ready_s": round(time.monotonic() - begin, 1), "cpu_s": cpu_seconds([daemon.process.pid]),
                "pss_mib": round(pss_bytes([daemon.process.pid]) / 2**20, 1)}
    daemon.stop()
    return figures


def measure_start(options, recording):
    """The same start with an empty root and with many recordings."""
    clip = options.clip or f"{options.out}/clip.ts"
    source = subprocess.Popen([f"{options.build}/bin/live_source", clip, str(BITS_PER_SECOND), "tcp", "0"],
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    try:
        url = f"tcp://{source.stdout.readline().split()[2]}"
        full = options.out / "full"
        make_archive(options, recording, full / "root", 100, options.recordings // 100)
        figures = {"recordings": options.recordings,
                   "empty_root": start_until_recording(options, options.out / "empty", url)}
        if empty_page_cache():
            figures["cold"] = start_until_recording(options, full, url)
        figures["page_cache"] = start_until_recording(options, full, url)
        return figures
    finally:
        end_all([source])


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--out", required=True, type=pathlib.Path, help="a folder, which is emptied")
    parser.add_argument("--hours", type=int, default=720, help="recordings of the stream with the archive")
    parser.add_argument("--whole", type=int, default=24, help="how many of them are full copies")
    parser.add_argument("--recordings", type=int, default=100_000, help="for the start; 0 leaves it out")
    parser.add_argument("--seconds", type=int, default=3600, help="length of a recording")
    parser.add_argument("--clip", help="a transport stream of 1 Mbit/s; made if it is missing")
    options = parser.parse_args()
    options.k2r = f"{options.build}/bin/k2r"
    options.out = options.out.absolute()
    return options


def main():
    options = parse_arguments()
    allow_descriptors()
    shutil.rmtree(options.out, ignore_errors=True)
    os.makedirs(options.out)
    machine = Machine()
    try:
        recording = make_hour(options)
        figures = {"archive": measure_archive(options, recording)}
        if options.recordings:
            figures["start"] = measure_start(options, recording)
    finally:
        daemonProcess.Daemon.kill_all()
    print(json.dumps({**figures, "machine_idle": machine.idle()}, indent=2))
    return 0


if __name__ == "__main__":
    sys.exit(main())
