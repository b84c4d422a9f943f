#!/usr/bin/env python3
"""Everything that `k2r serve` does, at once, in a build with a sanitizer: 20 live inputs, some of which die, rotation every
three seconds, retention, hooks, reloads that add and remove streams, clients that list, play, export and control, and a
SIGKILL with a new start. Fails if a sanitizer reports anything, if a recording is not whole, or if a part of it all never
happened.

    serve_storm.py BUILD FOLDER SECONDS"""

import collections
import http.client
import os
import pathlib
import random
import re
import shutil
import socket
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "tests" / "daemon"))
from daemonProcess import CLIP_SECONDS, Daemon, make_clip, verify, wait_for  # noqa: E402  (the path comes first)
from liveServer import PACKET, Camera  # noqa: E402

TCP_STREAMS, UDP_STREAMS = 17, 3
DATAGRAM = 7 * PACKET
# Clients list the first ones only: what was listed stays for a minute, and some recordings have to be removed.
LISTED = [f"cam{number}" for number in range(8)]
CONTROLLED = [f"cam{number}" for number in range(4, 10)]


def free_ports(kind, count):
    sockets = [socket.socket(socket.AF_INET, kind) for _ in range(count)]
    for each in sockets:
        each.bind(("127.0.0.1", 0))
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports


def send_datagrams(camera, ports, over):
    sender, place = socket.socket(socket.AF_INET, socket.SOCK_DGRAM), 0
    while not over.is_set():
        place = place if place <= camera.live() else 0
        while place + DATAGRAM <= camera.live():
            for port in ports:
                try:
                    sender.sendto(camera.packets[place:place + DATAGRAM], ("127.0.0.1", port))
                except OSError:
                    pass  # Nobody listens yet.
            place += DATAGRAM
        time.sleep(0.04)


class Clients:
    """Threads that make requests until stop(). `counts` is how often each kind of them got what it wanted."""

    def __init__(self, daemon):
        self.daemon, self.over = daemon, threading.Event()
        kinds = [self.lists, self.live, self.live, self.timed, self.timed, self.export, self.snapshot, self.control, self.abuse]
        self.counts, self.lock = collections.Counter({kind.__name__: 0 for kind in kinds}), threading.Lock()
        self.statuses = collections.Counter()
        self.threads = [threading.Thread(target=self._run, args=(kind, number)) for number, kind in enumerate(kinds)]
        for thread in self.threads:
            thread.start()

    def stop(self):
        self.over.set()
        for thread in self.threads:
            thread.join()

    def _run(self, kind, seed):
        chance = random.Random(seed)
        while not self.over.is_set():
            try:
                if kind(chance):
                    with self.lock:
                        self.counts[kind.__name__] += 1
            except (OSError, http.client.HTTPException):
                pass  # A reload has closed the connection.
            time.sleep(chance.uniform(0, 0.2))

    def get(self, path, method="GET", headers=None):
        """The body; None unless it is a success."""
        status, _, body = self.daemon.get(path, method, headers)
        with self.lock:
            self.statuses[status] += 1
        assert status != 500, f"{path}: {body}"
        return body if status in (200, 204, 206) else None

    def lists(self, chance):
        stream = chance.choice(LISTED)
        paths = ["v1/streams", f"v1/streams/{stream}/recordings?limit=5", "v1/health", "metrics", "livez", "readyz"]
        self.get("")  # The page, where it was built.
        return all([self.get(path) is not None for path in paths])

    def play(self, stream, query, chance):
        text = self.get(f"v1/streams/{stream}/index.m3u8{query}")
        if text is None:
            return False
        lines = text.decode().splitlines()
        media = [re.search('URI="(.*)"', line)[1] for line in lines if line.startswith("#EXT-X-MAP")]
        media += [line for line in lines if line.endswith(".m4s")][-3:]
        return all([self.get(f"v1/streams/{stream}/{path}") for path in media]) and len(media) > 1

    def live(self, chance):
        return self.play(chance.choice(LISTED), "", chance)

    def timed(self, chance):
        begin = time.time() - chance.uniform(2, 40)
        return self.play(chance.choice(LISTED), f"?start={begin:.3f}&duration={chance.uniform(1, 30):.3f}", chance)

    def export(self, chance):
        begin = time.time() - chance.uniform(3, 30)
        path = f"v1/streams/{chance.choice(LISTED)}/export.mp4?start={begin:.3f}&duration={chance.uniform(1, 20):.3f}"
        ranges = {"Range": f"bytes={chance.randrange(5000)}-"} if chance.random() < 0.5 else None
        return self.get(path, headers=ranges) is not None

    def snapshot(self, chance):
        return self.get(f"v1/streams/{chance.choice(LISTED)}/snapshot.jpg?at={time.time() - chance.uniform(0, 10):.3f}")

    def control(self, chance):
        stream = chance.choice(CONTROLLED)
        time.sleep(0.3)
        return self.get(f"v1/streams/{stream}/{chance.choice(['start', 'start', 'stop', 'rotate'])}", "POST") is not None

    def abuse(self, chance):
        """Half a request, or an answer that is not read to its end."""
        with socket.create_connection(("127.0.0.1", self.daemon.port), timeout=5) as client:
            path = chance.choice(["metrics", f"v1/streams/{chance.choice(LISTED)}/export.mp4?start={time.time() - 20:.0f}&duration=15"])
            request = f"GET /{path} HTTP/1.1\r\nHost: localhost\r\n\r\n".encode()
            client.sendall(request[:chance.choice([5, 30, len(request)])])
            client.settimeout(0.3)
            try:
                return len(client.recv(100)) > 0
            except TimeoutError:
                return False


def configure(daemon, camera, mortal, udp_ports, step):
    """Each step of the storm changes something else: streams come, go and change, and the HTTP server is opened anew."""
    url = {f"cam{number}": camera.url for number in range(TCP_STREAMS - 2)}
    url |= {"cam15": mortal.url, "cam16": mortal.url}
    url |= {f"cam{TCP_STREAMS + i}": f"udp://127.0.0.1:{port}" for i, port in enumerate(udp_ports)}
    streams = {name: f'source = "{source}"' for name, source in url.items()}
    streams["cam0"] += '\non_recording = ["true"]'
    streams["cam1"] += '\non_recording = ["false"]'
    streams["cam2"] += '\non_recording = ["sleep", "1000"]'
    streams["cam3"] += '\non_recording = ["sh", "-c", "echo {name}; sleep 0.3"]'
    if step % 2:
        streams["cam14"] += '\nrecording = { fragment_duration = "500ms" }'
        streams["extra"] = f'source = "{camera.url}"'
        del streams["cam13"]
    storage = f'rotate = "3s"\nkeep_for = "{8 if step % 3 else 6}s"\nkeep_bytes = "40MB"\nhook_timeout = "5s"'
    daemon.configure(streams, storage, server='allow_origins = ["https://example.org"]' if step % 4 == 3 else "")


def is_serving(daemon):
    try:
        return daemon.get("livez")[0] == 200
    except OSError:
        return False


def storm(daemon, folder, seconds):
    """Runs it all. Returns the counts of what happened."""
    make_clip(folder / "clip.ts")
    camera, mortal = Camera(folder / "clip.ts", CLIP_SECONDS), Camera(folder / "clip.ts", CLIP_SECONDS)
    udp_ports, over = free_ports(socket.SOCK_DGRAM, UDP_STREAMS), threading.Event()
    threading.Thread(target=send_datagrams, args=(camera, udp_ports, over), daemon=True).start()
    configure(daemon, camera, mortal, udp_ports, 0)
    daemon.start()
    wait_for("media", lambda: daemon.metric("k2r_stream_last_fragment_timestamp_seconds", stream="cam0") > 0, 60)
    clients, step, begin, was_killed = Clients(daemon), 0, time.monotonic(), False
    while time.monotonic() < begin + seconds and daemon.process.poll() is None:
        time.sleep(2)
        step += 1
        if not was_killed and time.monotonic() > begin + seconds / 2:
            # The next process scans and repairs while all else goes on.
            was_killed = True
            daemon.kill()
            daemon.start()
        configure(daemon, camera, mortal, udp_ports, step)
        daemon.reload()
        mortal.die() if step % 5 < 2 else mortal.revive()
        if camera.live() > 0.9 * len(camera.packets):
            camera.begin = mortal.begin = time.monotonic()  # as cameras that were switched off and on
    clients.stop()
    wait_for("the end of the last reload", lambda: is_serving(daemon))
    happened = dict(clients.counts)
    for result in ("success", "failure", "timeout"):
        happened[f"hook {result}"] = daemon.metric("k2r_hook_runs_total", result=result)
    happened["removed"] = daemon.metric("k2r_removed_recordings_total")
    happened["reconnects"] = daemon.metric("k2r_stream_reconnects_total", stream="cam15")
    happened["UDP"] = daemon.metric("k2r_stream_stored_frames_total", stream=f"cam{TCP_STREAMS}")
    print("statuses:", dict(clients.statuses))
    over.set()
    return happened


def main():
    build, folder, seconds = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]), float(sys.argv[3])
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    k2r = build / "bin" / "k2r"
    reports = folder / "report"
    options = f"log_path={reports} exitcode=66"
    suppressions = pathlib.Path(__file__).with_name("tsan_suppressions.txt")
    daemon = Daemon(k2r, folder)
    os.environ |= {"TSAN_OPTIONS": f"{options} halt_on_error=0 second_deadlock_stack=1 suppressions={suppressions}",
                   "ASAN_OPTIONS": options, "UBSAN_OPTIONS": f"log_path={reports} print_stacktrace=1",
                   "XDG_STATE_HOME": str(folder / "state")}
    faults = []
    try:
        happened = storm(daemon, folder, seconds)
        print("happened:", happened)
        faults += [f"never happened: {what}" for what, count in happened.items() if not count]
        daemon.stop()
        recordings = [recording for stream in sorted(daemon.root.iterdir()) for recording in sorted(stream.iterdir())
                      if stream.name != ".k2r"]
        print("recordings:", len(recordings))
        faults += [f"{each}: {result.stdout}" for each in recordings if (result := verify(k2r, each)).returncode]
    except (AssertionError, OSError) as fault:
        faults.append(repr(fault))
    finally:
        Daemon.kill_all()
    for report in sorted(folder.glob("report.*")):
        faults.append(report.read_text(errors="replace"))
    print("\n".join(faults) or "nothing found")
    sys.stdout.flush()
    os._exit(1 if faults else 0)  # The cameras' threads would keep the process.


if __name__ == "__main__":
    main()
