#!/usr/bin/env python3
"""Records many live inputs by one `k2r serve` and, in the same run, by as many `ffmpeg -c copy` processes, and compares
what both cost: CPU time, memory (PSS), and how old the newest durable fragment is. See docs/performance.md.

    serve_load.py BUILD --inputs 200 --seconds 600 --out FOLDER [--no-ffmpeg] [--durability device|process]

Needs ffmpeg. The inputs are MPEG-TS over TCP on loopback, 1 Mbit/s with sound, from bench/liveSource.cpp. Exits with 1 if
anything that was received is not in the recordings."""

import argparse
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time
import urllib.request

BITS_PER_SECOND = 1_000_000
TICKS = os.sysconf("SC_CLK_TCK")


def make_clip(path, seconds):
    """A transport stream of constant rate; a picture that moves, a key frame every two seconds, and a tone."""
    subprocess.run(
        ["ffmpeg", "-y", "-loglevel", "error", "-f", "lavfi", "-i", "testsrc2=size=640x360:rate=25",
         "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=48000", "-t", str(seconds), "-c:v", "libx264",
         "-preset", "ultrafast", "-g", "50", "-keyint_min", "50", "-sc_threshold", "0", "-b:v", "800k", "-maxrate", "800k",
         "-bufsize", "400k", "-pix_fmt", "yuv420p", "-c:a", "aac", "-b:a", "64k", "-muxrate", str(BITS_PER_SECOND),
         "-f", "mpegts", path], check=True)


def cpu_seconds(pids):
    """User and system time of processes that still run."""
    total = 0
    for pid in pids:
        with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
            fields = stat.read().rsplit(")", 1)[1].split()
        total += int(fields[11]) + int(fields[12])
    return total / TICKS


def pss_bytes(pids):
    total = 0
    for pid in pids:
        with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as rollup:
            total += int(re.search(r"^Pss:\s+(\d+) kB", rollup.read(), re.MULTILINE)[1]) * 1024
    return total


def metrics(port):
    """The samples of /metrics: name and labels to value."""
    with urllib.request.urlopen(f"http://127.0.0.1:{port}/metrics", timeout=30) as answer:
        text = answer.read().decode()
    return {line.rsplit(" ", 1)[0]: float(line.rsplit(" ", 1)[1]) for line in text.splitlines() if line[:1] not in ("#", "")}


def of_name(samples, name):
    return [value for key, value in samples.items() if key.split("{")[0] == name]


def write_config(path, folder, source, options):
    with open(path, "w", encoding="utf-8") as config:
        config.write(f'[server]\nlisten = "127.0.0.1:{options.port}"\n[storage]\nroot = "{folder}"\n'
                     f'rotate = "{options.rotate}"\ndurability = "{options.durability}"\n'
                     '[recording]\nfragment_duration = "4s"\n')
        for number in range(options.inputs):
            config.write(f'[[stream]]\nname = "cam{number}"\nsource = "{source}"\n')


def percentile(values, share):
    return sorted(values)[min(int(len(values) * share), len(values) - 1)]


def start_ffmpeg(folder, source, inputs):
    processes = []
    for number in range(inputs):
        os.makedirs(f"{folder}/cam{number}")
        processes.append(subprocess.Popen(
            ["ffmpeg", "-loglevel", "error", "-i", source, "-c", "copy", "-f", "segment", "-segment_time", "3600",
             "-segment_format", "mp4", "-segment_format_options", "movflags=frag_keyframe+empty_moov",
             f"{folder}/cam{number}/%d.mp4"], stdin=subprocess.DEVNULL))
    return processes


def wait_for(what, ready, seconds):
    until = time.monotonic() + seconds
    while not ready():
        if time.monotonic() > until:
            sys.exit(f"serve_load: {what} took more than {seconds} s")
        time.sleep(0.2)


def is_serving(port):
    try:
        metrics(port)
        return True
    except OSError:
        return False


def check_recordings(build, folder):
    """Verifies every recording; returns their number and those that are not whole."""
    bad, count = [], 0
    for stream in sorted(os.listdir(folder)):
        if stream == ".k2r":
            continue
        for name in sorted(os.listdir(f"{folder}/{stream}")):
            count += 1
            result = subprocess.run([f"{build}/bin/k2r", "verify", f"{folder}/{stream}/{name}"], capture_output=True, text=True)
            if result.returncode != 0:
                bad.append(result.stdout.strip().splitlines()[-1:])
    return count, bad


def measure(options, serve, others):
    """Samples both while they run. Returns the figures."""
    def running(processes):
        return [process.pid for process in processes if process.poll() is None]
    begin = {"serve": cpu_seconds([serve.pid]), "ffmpeg": cpu_seconds(running(others)), "time": time.monotonic()}
    ages, memory = [], {"serve": 0, "ffmpeg": 0}
    end = time.monotonic() + options.seconds
    while time.monotonic() < end:
        time.sleep(5)
        stamps = of_name(metrics(options.port), "k2r_stream_last_fragment_timestamp_seconds")
        ages += [time.time() - stamp for stamp in stamps if stamp > 0]
    memory["serve"] = pss_bytes([serve.pid])
    memory["ffmpeg"] = pss_bytes(running(others))
    seconds = time.monotonic() - begin["time"]
    figures = {"inputs": options.inputs, "seconds": round(seconds, 1), "durability": options.durability,
               "serve_cpu": round((cpu_seconds([serve.pid]) - begin["serve"]) / seconds, 4),
               "ffmpeg_cpu": round((cpu_seconds(running(others)) - begin["ffmpeg"]) / seconds, 4),
               "ffmpeg_running": len(running(others)),
               "serve_pss_mib": round(memory["serve"] / 2**20, 1), "ffmpeg_pss_mib": round(memory["ffmpeg"] / 2**20, 1),
               "fragment_age_s": {"median": round(percentile(ages, 0.5), 2), "p99": round(percentile(ages, 0.99), 2),
                                  "worst": round(max(ages), 2)}}
    if others:
        figures["cpu_ratio"] = round(figures["serve_cpu"] / figures["ffmpeg_cpu"], 3)
        figures["memory_ratio"] = round(memory["serve"] / memory["ffmpeg"], 3)
    return figures


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--inputs", type=int, default=200)
    parser.add_argument("--seconds", type=int, default=600)
    parser.add_argument("--out", required=True)
    parser.add_argument("--clip", help="a transport stream of 1 Mbit/s; made if it is missing")
    parser.add_argument("--port", type=int, default=8480)
    parser.add_argument("--rotate", default="1h")
    parser.add_argument("--durability", default="device")
    parser.add_argument("--no-ffmpeg", action="store_true")
    options = parser.parse_args()
    shutil.rmtree(options.out, ignore_errors=True)
    os.makedirs(options.out)
    clip = options.clip or f"{options.out}/clip.ts"
    if not os.path.exists(clip):
        make_clip(clip, options.seconds + 60)
    source = subprocess.Popen([f"{options.build}/bin/live_source", clip, str(BITS_PER_SECOND), "tcp", "0"],
                              stdout=subprocess.PIPE, text=True)
    address = "tcp://" + source.stdout.readline().split()[-1]
    folder, config = f"{options.out}/serve", f"{options.out}/k2r.toml"
    os.makedirs(folder)
    write_config(config, folder, address, options)
    others = []
    with open(f"{options.out}/serve.log", "w", encoding="utf-8") as log:
        serve = subprocess.Popen([f"{options.build}/bin/k2r", "serve", "--config", config], stderr=log)
    try:
        wait_for("the start", lambda: is_serving(options.port), 10)
        wait_for("the connection of all", lambda: sum(of_name(metrics(options.port), "k2r_stream_up")) == options.inputs, 60)
        if not options.no_ffmpeg:
            others = start_ffmpeg(f"{options.out}/ffmpeg", address, options.inputs)
        time.sleep(10)
        figures = measure(options, serve, others)
        last = metrics(options.port)
        figures["lost_frames"] = sum(of_name(last, "k2r_stream_lost_frames_total"))
        begin = time.monotonic()
        serve.send_signal(signal.SIGTERM)
        figures["exit_status"] = serve.wait(timeout=60)
        figures["stop_s"] = round(time.monotonic() - begin, 2)
    finally:
        for process in [*others, serve, source]:
            process.terminate()
        for process in [*others, serve, source]:
            process.wait()
    figures["recordings"], bad = check_recordings(options.build, folder)
    figures["not_whole"] = len(bad)
    print(json.dumps(figures, indent=2))
    for finding in bad[:5]:
        print(finding)
    return 1 if bad or figures["lost_frames"] or figures["exit_status"] else 0


if __name__ == "__main__":
    sys.exit(main())
