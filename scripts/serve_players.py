#!/usr/bin/env python3
"""Plays a recording by many players at once, from `k2r serve` and, in the same run, as the same bytes in files from
nginx, and compares the CPU time of both servers. Then it measures how long requests take while other players do not
read. See docs/performance.md.

    serve_players.py BUILD --out FOLDER [--players 100] [--rounds 2] [--repeat 3] [--clip FILE] [--no-nginx]

Needs ffmpeg, unless there is a clip, and nginx. The players (bench/playerLoad.cpp) fetch what the playlist names as fast
as they get it, over kept connections. Exits with 1 if both servers do not send the same bytes."""

import argparse
import json
import os
import pathlib
import shutil
import socket
import statistics
import subprocess
import sys
import urllib.parse
import urllib.request

from process_cost import Machine, allow_descriptors, cpu_seconds, end_all, pss_bytes, wait_until
from serve_load import make_clip

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "tests" / "daemon"))
import daemonProcess  # noqa: E402  (the path comes first)

NAME = "20260101T000000.000Z"
NGINX = """worker_processes 1; daemon off; pid {out}/nginx.pid; error_log {out}/nginx.log;
events {{ worker_connections 4096; }}
http {{ access_log off; sendfile on; keepalive_requests 1000000; root {out}/files; client_body_temp_path {out}/temp;
proxy_temp_path {out}/temp; fastcgi_temp_path {out}/temp; uwsgi_temp_path {out}/temp; scgi_temp_path {out}/temp;
server {{ listen 127.0.0.1:{port}; }} }}
"""


def start_daemon(options, clip):
    daemon = daemonProcess.Daemon(f"{options.build}/bin/k2r", options.out / "serve")
    # Nobody sends to that port: only the recording counts.
    daemon.configure({"cam": 'source = "udp://127.0.0.1:9"\nenabled = false'})
    recording = daemon.root / "cam" / NAME
    recording.parent.mkdir()
    subprocess.run([daemon.k2r, "record", clip, "--out", recording],
                   check=True, capture_output=True)
    subprocess.run([daemon.k2r, "playlist", recording, "--plain", options.out / "files"], check=True, capture_output=True)
    # A folder that is emptied must not be taken for a disk that is away.
    daemon.start({"STATE_DIRECTORY": str(options.out / "state")})
    wait_until("the catalog", lambda: daemon.get("readyz")[0] == 200, 10)
    return daemon


def free_port():
    """Nobody takes it in the next moment: the system gives another one to who asks for any."""
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def start_nginx(out):
    port = free_port()
    (out / "temp").mkdir()
    (out / "nginx.conf").write_text(NGINX.format(out=out, port=port))
    process = subprocess.Popen([shutil.which("nginx") or "/usr/sbin/nginx", "-c", out / "nginx.conf", "-e", out / "nginx.log"], stderr=subprocess.DEVNULL)

    def is_listening():
        try:
            return urllib.request.urlopen(f"http://127.0.0.1:{port}/index.m3u8", timeout=5).status == 200
        except OSError:
            return False
    wait_until("nginx", is_listening, 5)
    return process, port


def with_children(pid):
    with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as children:
        return [pid, *map(int, children.read().split())]


def media_of(port, path):
    """Of everything that a playlist names, in order: its size, and the media. What is before the media has the time of
    day, which only the daemon knows."""
    url = f"http://127.0.0.1:{port}{path}"
    with urllib.request.urlopen(url, timeout=20) as answer:
        lines = answer.read().decode().splitlines()
    names = [line.split('"')[1] for line in lines if line.startswith("#EXT-X-MAP")]
    names += [line for line in lines if line and line[0] != "#"]
    contents = []
    for name in names:
        with urllib.request.urlopen(urllib.parse.urljoin(url, name), timeout=20) as answer:
            content = answer.read()
            contents.append((len(content), content.partition(b"mdat")[2]))
    return contents


def play(options, server, port, path, stalled=0):
    """One run of all players. Returns its figures with the CPU time of the server."""
    pids = with_children(server.pid)
    before, machine = cpu_seconds(pids), Machine()
    result = subprocess.run([options.player_load, str(port), path, str(options.players), str(options.rounds), str(stalled)],
                            check=True, capture_output=True, text=True)
    figures = json.loads(result.stdout)
    figures["cpu_per_gb"] = round((cpu_seconds(pids) - before) / figures["bytes"] * 1e9, 3)
    figures["machine_idle"] = machine.idle()
    return figures


def middle(runs):
    """The median of each figure."""
    return {key: round(statistics.median(run[key] for run in runs), 3) for key in runs[0]}


def measure(options, daemon, path, nginx, nginx_port):
    """Both servers in turn, then the daemon with players that do not read."""
    serve, files, ratios = [], [], []
    for _ in range(options.repeat):
        serve.append(play(options, daemon.process, daemon.port, path))
        if nginx:
            files.append(play(options, nginx, nginx_port, "/index.m3u8"))
            ratios.append(round(serve[-1]["cpu_per_gb"] / files[-1]["cpu_per_gb"], 2))
    figures = {"players": options.players, "serve": middle(serve)}
    if nginx:
        figures |= {"nginx": middle(files), "ratios": ratios, "ratio": statistics.median(ratios)}
    stalled = [play(options, daemon.process, daemon.port, path, options.stalled) for _ in range(options.repeat)]
    figures["serve_beside_stalled"] = {"stalled": options.stalled, **middle(stalled)}
    figures["serve_pss_mib"] = round(pss_bytes([daemon.process.pid]) / 2**20, 1)
    return figures


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--players", type=int, default=100)
    parser.add_argument("--rounds", type=int, default=2, help="how often each player plays the recording")
    parser.add_argument("--repeat", type=int, default=3)
    parser.add_argument("--stalled", type=int, default=100, help="players that do not read, beside the others")
    parser.add_argument("--seconds", type=int, default=60, help="length of the recording")
    parser.add_argument("--clip", help="a media file to record instead")
    parser.add_argument("--out", required=True, type=pathlib.Path, help="a folder, which is emptied")
    parser.add_argument("--no-nginx", action="store_true")
    options = parser.parse_args()
    options.out = options.out.absolute()
    options.player_load = f"{options.build}/bin/player_load"
    return options


def main():
    options = parse_arguments()
    allow_descriptors()
    shutil.rmtree(options.out, ignore_errors=True)
    os.makedirs(options.out)
    clip = options.clip or f"{options.out}/clip.ts"
    if not options.clip:
        make_clip(clip, options.seconds)
    path = "/v1/streams/cam/index.m3u8?start=2025-12-31T23:59:00Z&duration=2h"
    nginx, nginx_port = None, None
    try:
        daemon = start_daemon(options, clip)
        if not options.no_nginx:
            nginx, nginx_port = start_nginx(options.out)
        is_same = nginx is None or media_of(daemon.port, path) == media_of(nginx_port, "/index.m3u8")
        figures = measure(options, daemon, path, nginx, nginx_port)
        daemon.stop()
    finally:
        daemonProcess.Daemon.kill_all()
        end_all([nginx] if nginx else [])
    print(json.dumps({**figures, "same_bytes": is_same}, indent=2))
    return 0 if is_same else 1


if __name__ == "__main__":
    sys.exit(main())
