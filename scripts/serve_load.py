#!/usr/bin/env python3
"""Records many live inputs by one `k2r serve` and, in the same run, by as many `ffmpeg -c copy` processes, and compares
what both cost: CPU time, memory (PSS), and how old the newest durable fragment is. See docs/performance.md.

    serve_load.py BUILD --inputs 200 --seconds 600 --out FOLDER [--udp] [--no-ffmpeg] [--durability device|process]

Needs ffmpeg. The inputs are MPEG-TS over TCP or UDP on loopback, 1 Mbit/s with sound, from bench/liveSource.cpp. Exits
with 1 if a frame that was received is not in a recording: by the metrics of all streams, by `k2r verify` of all
recordings, and, for some streams, frame by frame against the clip."""

import argparse
import json
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import time

from process_cost import (Machine, allow_descriptors, count_of, cpu_seconds, end_all, is_running, percentile, pss_bytes,
                          wait_until)

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "tests" / "daemon"))
import daemonProcess  # noqa: E402  (the path comes first)

BITS_PER_SECOND = 1_000_000
# Reasons for which a frame is lost although a socket delivered it. Nothing can be recorded before the first key frame.
LOSSES = ("queue", "refused", "tail")


def make_clip(path, seconds):
    """A transport stream of constant rate; a picture that moves, a key frame every two seconds, and a tone."""
    subprocess.run(
        ["ffmpeg", "-y", "-loglevel", "error", "-f", "lavfi", "-i", "testsrc2=size=640x360:rate=25", "-f", "lavfi", "-i",
         "sine=frequency=440:beep_factor=4:sample_rate=48000", "-t", str(seconds), "-c:v", "libx264", "-preset",
         "ultrafast", "-g", "50", "-keyint_min", "50", "-sc_threshold", "0", "-b:v", "800k", "-maxrate", "800k", "-bufsize",
         "400k", "-pix_fmt", "yuv420p", "-c:a", "aac", "-b:a", "64k", "-muxrate", str(BITS_PER_SECOND), "-f", "mpegts", path],
        check=True)


class Inputs:
    """Where the streams come from. Over UDP each reader has ports of its own: the daemon's come first."""

    def __init__(self, options, clip):
        self.is_udp, self.count = options.udp, options.inputs
        self.command = [f"{options.build}/bin/live_source", clip, str(BITS_PER_SECOND)]
        self.log = open(f"{options.out}/source.log", "w+", encoding="utf-8")
        self.process = None
        if self.is_udp:
            self.readers = self.count * (1 if options.no_ffmpeg else 2)
            # Below the ports that the system gives away.
            self.port = random.randrange(10_000, 32_000 - self.readers)
        else:
            self.start("tcp", "0")
            wait_until("the source", lambda: "listening" in self._text(), 5)
            self.port = int(self._text().split()[2].rsplit(":", 1)[1])

    def _text(self):
        with open(self.log.name, encoding="utf-8") as log:
            return log.read()

    def start(self, *words):
        self.process = subprocess.Popen([*self.command, *words], stdout=self.log, stderr=self.log)

    def start_udp(self):
        """When all readers listen: what comes earlier is lost, as from a camera."""
        if self.is_udp:
            self.start("udp", str(self.port), str(self.readers))

    def url(self, number):
        return f"udp://127.0.0.1:{self.port + number}" if self.is_udp else f"tcp://127.0.0.1:{self.port}"

    def ports(self):
        """UDP ports that are listened to, and how many datagrams each has dropped."""
        ports = {}
        with open("/proc/net/udp", encoding="ascii") as table:
            for line in list(table)[1:]:
                fields = line.split()
                port = int(fields[1].split(":")[1], 16)
                if self.is_udp and self.port <= port < self.port + self.readers:
                    ports[port] = int(fields[-1])
        return ports

    def dropped(self):
        """Datagrams that the daemon's sockets dropped: those it never saw."""
        return sum(drops for port, drops in self.ports().items() if port < self.port + self.count)


def start_ffmpeg(folder, inputs, log):
    processes = []
    for number in range(inputs.count):
        os.makedirs(f"{folder}/cam{number}")
        processes.append(subprocess.Popen(
            ["ffmpeg", "-nostdin", "-loglevel", "error", "-i", inputs.url(inputs.count + number), "-c", "copy", "-f", "segment",
             "-segment_time", "3600", "-segment_format", "mp4", "-segment_format_options",
             "movflags=frag_keyframe+empty_moov", f"{folder}/cam{number}/%d.mp4"],
            stdin=subprocess.DEVNULL, stdout=log, stderr=log))
    return processes


def start_daemon(options, inputs):
    daemon = daemonProcess.Daemon(f"{options.build}/bin/k2r", options.out / "serve")
    daemon.configure({f"cam{number}": f'source = "{inputs.url(number)}"' for number in range(options.inputs)},
                     storage=f'rotate = "{options.rotate}"\ndurability = "{options.durability}"',
                     recording='fragment_duration = "4s"')
    # A folder that is emptied must not be taken for a disk that is away.
    daemon.start({"STATE_DIRECTORY": str(options.out / "state")})
    return daemon


def start_recording(options, inputs, log):
    """Starts both, and returns when all inputs are recorded."""
    daemon = start_daemon(options, inputs)
    others = [] if options.no_ffmpeg else start_ffmpeg(options.out / "ffmpeg", inputs, log)
    patience = 60 + options.inputs // 5
    if options.udp:
        wait_until("the sockets of all", lambda: len(inputs.ports()) == inputs.readers, patience)
    inputs.start_udp()
    wait_until("the recording of all", lambda: daemon.metric("k2r_stream_up") == options.inputs, patience)
    time.sleep(options.settle)
    return daemon, others


def of_name(samples, name):
    return [value for key, value in samples.items() if key.split("{")[0] == name]


def measure(options, daemon, others):
    """Samples both while they run. Returns the figures."""
    pid = daemon.process.pid
    pids = [process.pid for process in others if is_running(process)]
    machine, begin = Machine(), time.monotonic()
    cpu, cpu_others = cpu_seconds([pid]), cpu_seconds(pids)
    ages = []
    while time.monotonic() < begin + options.seconds:
        time.sleep(min(5, options.seconds))
        stamps = of_name(daemon.metrics(), "k2r_stream_last_fragment_timestamp_seconds")
        ages += [time.time() - stamp for stamp in stamps if stamp > 0]
    seconds = time.monotonic() - begin
    memory, memory_others = pss_bytes([pid]), pss_bytes(pids)
    figures = {"inputs": options.inputs, "transport": "udp" if options.udp else "tcp", "seconds": round(seconds, 1),
               "durability": options.durability, "machine_idle": machine.idle(),
               "serve_cpu": round((cpu_seconds([pid]) - cpu) / seconds, 4), "serve_pss_mib": round(memory / 2**20, 1),
               "serve_threads": count_of(pid, "task"), "serve_descriptors": count_of(pid, "fd"),
               "fragment_age_s": {"median": round(percentile(ages, 0.5), 2), "p99": round(percentile(ages, 0.99), 2),
                                  "worst": round(max(ages), 2)}}
    if pids:
        figures["ffmpeg_running"] = sum(map(is_running, others))
        figures["ffmpeg_cpu"] = round((cpu_seconds(pids) - cpu_others) / seconds, 4)
        figures["ffmpeg_pss_mib"] = round(memory_others / 2**20, 1)
        figures["cpu_ratio"] = round(figures["serve_cpu"] / figures["ffmpeg_cpu"], 3)
        figures["memory_ratio"] = round(memory / memory_others, 3)
    return figures


def account(daemon):
    """What the metrics say of frames."""
    samples = daemon.metrics()
    lost = {}
    for key, value in samples.items():
        if key.startswith("k2r_stream_lost_frames_total"):
            reason = re.search(r'reason="(\w+)"', key)[1]
            lost[reason] = lost.get(reason, 0) + value
    return {"received_frames": sum(of_name(samples, "k2r_stream_received_frames_total")),
            "stored_frames": sum(of_name(samples, "k2r_stream_stored_frames_total")), "lost_frames": lost,
            "reconnects": sum(of_name(samples, "k2r_stream_reconnects_total"))}


def kept_frames(daemon, stream):
    """Frames that have been received by now and must be on disk in the end, since nothing may be lost."""
    return (daemon.metric("k2r_stream_received_frames_total", stream=stream) -
            daemon.metric("k2r_stream_lost_frames_total", stream=stream, reason="no_key_frame"))


def check_whole(daemon, streams):
    """Verifies every recording; returns their number and what is wrong."""
    bad, count = [], 0
    for stream in streams:
        for recording in daemon.recordings(stream):
            count += 1
            result = daemonProcess.verify(daemon.k2r, recording)
            if result.returncode != 0:
                bad.append(f"{recording}: {result.stdout.strip().splitlines()[-1:]}")
    return count, bad


def is_within(part, whole):
    """Whether the frames come one after the other in the clip, too, without a hole."""
    return any(whole[place:place + len(part)] == part for place, frame in enumerate(whole) if frame == part[0])


def compare_frames(daemon, clip, out, received):
    """Compares streams with the clip, frame by frame. `received` has the frames of each that had to be stored."""
    subprocess.run([daemon.k2r, "record", clip, "--out", out / "clip"], check=True, capture_output=True)
    whole = daemonProcess.frames(daemon.k2r, out / "clip")
    bad = []
    for stream, least in received.items():
        parts = [daemonProcess.frames(daemon.k2r, recording) for recording in daemon.recordings(stream)]
        for kind, frames in whole.items():
            part = [frame for each in parts for frame in each[kind]]
            if not part or not is_within(part, frames):
                bad.append(f"{stream}: the {len(part)} frames of {kind} are not the clip's")
        count = sum(len(each[kind]) for each in parts for kind in each)
        if count < least:
            bad.append(f"{stream}: {count} frames of {least} are on disk")
    return bad


def finish(daemon, options, clip, inputs):
    """Stops the daemon, and looks for what is missing. Returns figures and faults."""
    figures = account(daemon)
    received = {f"cam{number}": kept_frames(daemon, f"cam{number}") for number in range(min(options.compare, options.inputs))}
    if options.udp:
        figures["dropped_by_sockets"] = inputs.dropped()
    begin = time.monotonic()
    daemon.process.send_signal(signal.SIGTERM)
    figures["exit_status"] = daemon.process.wait(timeout=60)
    figures["stop_s"] = round(time.monotonic() - begin, 2)
    figures["recordings"], faults = check_whole(daemon, [f"cam{number}" for number in range(options.inputs)])
    faults += [f"{count:.0f} frames are lost: {reason}" for reason, count in figures["lost_frames"].items()
               if reason in LOSSES and count]
    faults += [line for line in daemon.log().splitlines() if "verrun" in line or "messages are lost" in line]
    # A datagram that no socket delivered is a hole in the clip.
    if not figures.get("dropped_by_sockets"):
        faults += compare_frames(daemon, clip, options.out, received)
    if figures["exit_status"]:
        faults.append(f"the exit status is {figures['exit_status']}")
    return figures, faults


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--inputs", type=int, default=200)
    parser.add_argument("--seconds", type=int, default=600)
    parser.add_argument("--settle", type=int, default=60,
                        help="seconds before the measurement: libavformat frees its memory for probing only when 5 MB have come")
    parser.add_argument("--out", required=True, type=pathlib.Path, help="a folder, which is emptied")
    parser.add_argument("--clip", help="a transport stream of 1 Mbit/s; made if it is missing")
    parser.add_argument("--udp", action="store_true")
    parser.add_argument("--rotate", default="1h")
    parser.add_argument("--durability", default="device")
    parser.add_argument("--compare", type=int, default=5, help="streams that are compared with the clip, frame by frame")
    parser.add_argument("--no-ffmpeg", action="store_true")
    return parser.parse_args()


def main():
    options = parse_arguments()
    allow_descriptors()
    shutil.rmtree(options.out, ignore_errors=True)
    os.makedirs(options.out)
    clip = options.clip or f"{options.out}/clip.ts"
    if not os.path.exists(clip):
        make_clip(clip, options.seconds + options.settle + 30)
    inputs, others = Inputs(options, clip), []
    try:
        with open(f"{options.out}/ffmpeg.log", "w", encoding="utf-8") as log:
            daemon, others = start_recording(options, inputs, log)
        figures = measure(options, daemon, others)
        end_all(others)
        more, faults = finish(daemon, options, clip, inputs)
    finally:
        daemonProcess.Daemon.kill_all()
        end_all([process for process in [*others, inputs.process] if process])
    print(json.dumps({**figures, **more, "faults": len(faults)}, indent=2))
    for fault in faults[:10]:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
