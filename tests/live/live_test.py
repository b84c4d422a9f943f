#!/usr/bin/env python3
"""Records from real servers on the loopback interface that break off, fall silent or come back.
Usage: live_test.py K2R DIRECTORY"""
import concurrent.futures
import os
import pathlib
import signal
import socket
import subprocess
import sys
import time

K2R, ROOT = sys.argv[1], pathlib.Path(sys.argv[2])
HERE = pathlib.Path(__file__).parent
CLIP = ROOT / "clip.ts"
# With a length, which FLV announces: a live source may do that, too.
PUSH = f"ffmpeg -v quiet -re -i {CLIP} -t 50 -c copy -f "

# Name; source, `{p}` being a port of its own, `{d}` a directory; input; options of k2r; whether the source comes back;
# exit status; what the log says.
SCENARIOS = [
    ("srt", PUSH + "mpegts srt://127.0.0.1:{p}?mode=listener", "srt://127.0.0.1:{p}", "", False, 0, "the input has ended: "),
    ("udp", PUSH + "mpegts udp://127.0.0.1:{p}", "udp://127.0.0.1:{p}", "--stall-timeout 2", False, 1,
     "any further: no data for 2 s"),
    ("udp-back", PUSH + "mpegts udp://127.0.0.1:{p}", "udp://127.0.0.1:{p}", "--stall-timeout 2 --reconnect", True, 0,
     "the input is back after "),
    ("rtmp", PUSH + "flv -listen 1 rtmp://127.0.0.1:{p}/live/x", "rtmp://127.0.0.1:{p}/live/x", "", False, 0, "the input has ended: "),
    ("rtmp-back", PUSH + "flv rtmp://127.0.0.1:{p}/live/x", "rtmp://127.0.0.1:{p}/live/x",
     "--input-option listen=1 --reconnect", True, 0, "the input is back after "),
    ("rtsp", f"/usr/bin/python3 {HERE}/rtspServer.py {{p}} {CLIP}", "rtsp://127.0.0.1:{p}/live",
     "--input-option rtsp_transport=tcp", False, 0, ""),
    ("hls", PUSH + "hls -hls_time 1 -method PUT {d}/x.m3u8 & python3 -m http.server -b 127.0.0.1 -d {d} {p}",
     "http://127.0.0.1:{p}/x.m3u8", "--input-option allowed_extensions=ALL", False, 0, ""),
]


def wait_for(what, condition, seconds=40):
    end = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < end, f"waited in vain for {what}"
        time.sleep(0.1)


def start_source(command):
    return subprocess.Popen(["sh", "-c", command], start_new_session=True, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL)


def kill(process):
    if process.poll() is None:
        os.killpg(process.pid, signal.SIGKILL)
        process.wait()


def largest_step(segment):
    """Of the video's decode times, in seconds."""
    lines = subprocess.run(["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=dts_time", "-of",
                            "csv=p=0", segment], capture_output=True, text=True, check=True).stdout.split()
    times = [float(line.strip(",")) for line in lines]
    return max(b - a for a, b in zip(times, times[1:]))


def run(name, source, url, options, comes_back, status, says):
    directory = ROOT / name
    directory.mkdir()
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        port = free.getsockname()[1]
    fill = {"p": port, "d": directory}
    listens = "listen=1" in options
    server = None if listens else start_source(source.format(**fill))
    time.sleep(4 if name == "hls" else 1.5)  # It cannot be asked whether it is ready without taking its one client.
    out, log = directory / "cam", directory / "log"
    recorder = subprocess.Popen([K2R, "record", url.format(**fill), "--out", out, "--set", "Recording/FragmentDuration=1000",
                                 *options.split()], stderr=log.open("w"))
    try:
        if listens:
            time.sleep(1)
            server = start_source(source.format(**fill))
        wait_for("a fragment", (out / "cam.bootstrap").exists)
        kill(server)
        if comes_back:
            time.sleep(3)
            server = start_source(source.format(**fill))
            wait_for("the source", lambda: "is back after" in log.read_text())
            wait_for("a picture behind the gap", lambda: largest_step(out / "camSeg1.k2r") > 2)
            recorder.send_signal(signal.SIGINT)
        found = recorder.wait(40)
    finally:
        recorder.kill()
        kill(server)
    text = log.read_text()
    # A source that is joined between two key frames costs what comes before the next one, and the status says so.
    lead_in = "before the first key frame" in text
    assert found == (6 if lead_in and status == 0 else status), f"status {found}\n{text}"
    assert says in text, text
    assert len(text.splitlines()) <= 20, text
    subprocess.run([K2R, "verify", out], check=True, stdout=subprocess.DEVNULL)
    step = largest_step(out / "camSeg1.k2r")
    assert 2.5 < step < 9 if comes_back else step < 0.1, f"{step} s between two pictures"


def main():
    subprocess.run(f"ffmpeg -v error -y -f lavfi -i testsrc2=size=320x240:rate=25:duration=60 -f lavfi -i sine=duration=60 "
                   f"-c:v libx264 -preset ultrafast -bf 2 -g 50 -pix_fmt yuv420p -c:a aac -ac 2 {CLIP}", shell=True, check=True)
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(len(SCENARIOS)) as pool:
        runs = {scenario[0]: pool.submit(run, *scenario) for scenario in SCENARIOS}
        for name, result in runs.items():
            error = result.exception()
            print(f"{name}: {'passed' if error is None else f'FAILED: {error!r}'}")
            failed += error is not None
    return 1 if failed else 0


sys.exit(main())
