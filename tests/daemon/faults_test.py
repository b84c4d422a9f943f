#!/usr/bin/env python3
"""Every fault that a recorder meets, against a real `k2r serve` with real sources: each recording stays whole, nothing is
lost but what the fault took, and log, metrics and health say what happened.
Usage: faults_test.py K2R DIRECTORY [--kills N] [NAME...]"""

import argparse
import concurrent.futures
import os
import pathlib
import random
import shutil
import socket
import subprocess
import sys
import time

from daemonProcess import Daemon, frames, make_clip, place_in, verify, wait_for, CLIP_SECONDS
from liveServer import Camera, Proxy

STALL = 'recording = { stall_timeout = "2s" }'


class World:
    """What all scenarios share: the program, the clip, and the frames of it."""

    def __init__(self, k2r, folder):
        self.k2r, self.folder = k2r, pathlib.Path(folder)
        self.clip = self.folder / "clip.ts"
        make_clip(self.clip)
        subprocess.run([k2r, "record", self.clip, "--out", self.folder / "reference", "--quiet", "--durability", "process"],
                       check=True)
        self.reference = frames(k2r, self.folder / "reference")

    def camera(self):
        return Camera(self.clip, CLIP_SECONDS)

    def daemon(self, name, wrapper=()):
        return Daemon(self.k2r, self.folder / name, wrapper)


def check_whole(world, recordings):
    assert recordings, "nothing was recorded"
    for recording in recordings:
        found = verify(world.k2r, recording)
        assert found.returncode == 0, f"{recording}: {found.stdout}"


def check_continuous(world, recordings, kinds=("video", "audio")):
    """All frames of all recordings follow each other in the source: none is missing, none is there twice."""
    stored = [frames(world.k2r, recording) for recording in recordings]
    for kind in kinds:
        together = [frame for recording in stored for frame in recording[kind]]
        assert place_in(world.reference[kind], together) is not None, f"{kind}: frames are missing or doubled"


def check_known(world, recordings):
    """Every frame is one of the source, in its order, none twice."""
    places = {kind: {frame: index for index, frame in enumerate(world.reference[kind])} for kind in ("video",)}
    for kind, known in places.items():
        order = [known[frame] for recording in recordings for frame in frames(world.k2r, recording)[kind]]
        assert order == sorted(set(order)), f"{kind}: frames are doubled or out of order"


def unhealthy(daemon):
    return {each["name"]: each for each in daemon.json("v1/health")["streams"]}


def rotation(world):
    """Recordings of 2 s each, which together are the stream."""
    daemon, camera = world.daemon("rotation"), world.camera()
    daemon.configure({"cam": f'source = "{camera.url}"', "twin": f'source = "{camera.url}"'}, 'rotate = "2s"')
    daemon.start()
    wait_for("five recordings", lambda: len(daemon.recordings("cam")) >= 5)
    assert daemon.metric("k2r_stream_lost_frames_total") == 0 or daemon.metric(
        "k2r_stream_lost_frames_total", reason="no_key_frame") == daemon.metric("k2r_stream_lost_frames_total")
    daemon.stop()
    for stream in ("cam", "twin"):
        check_whole(world, daemon.recordings(stream))
        check_continuous(world, daemon.recordings(stream))


def source_dead_and_back(world):
    daemon, camera = world.daemon("dead"), world.camera()
    daemon.configure({"cam": f'source = "{camera.url}"\n{STALL}'})
    daemon.start()
    wait_for("a fragment", lambda: daemon.metric("k2r_stream_last_fragment_timestamp_seconds", stream="cam") > 0)
    assert daemon.metric("k2r_stream_up", stream="cam") == 1 and unhealthy(daemon) == {}
    camera.die()
    wait_for("the alarm", lambda: daemon.metric("k2r_stream_up", stream="cam") == 0)
    assert "cam" in unhealthy(daemon)
    time.sleep(2)
    camera.revive()
    wait_for("the source", lambda: daemon.metric("k2r_stream_up", stream="cam") == 1)
    wait_for("its media", lambda: daemon.state("cam") == "recording" and unhealthy(daemon) == {})
    time.sleep(2)
    assert daemon.metric("k2r_stream_reconnects_total", stream="cam") >= 1
    assert daemon.metric("k2r_stream_lost_seconds_total", stream="cam", reason="source") > 1
    assert daemon.metric("k2r_stream_gaps_total", stream="cam") >= 1
    daemon.stop()
    assert "cam: " in daemon.log()
    check_whole(world, daemon.recordings("cam"))
    check_known(world, daemon.recordings("cam"))


def network_cut(world):
    daemon, proxy = world.daemon("cut"), Proxy(world.camera().port)
    daemon.configure({"cam": f'source = "{proxy.url}"\n{STALL}'})
    daemon.start()
    wait_for("a fragment", lambda: daemon.metric("k2r_stream_last_fragment_timestamp_seconds", stream="cam") > 0)
    proxy.cut()
    wait_for("the alarm", lambda: daemon.metric("k2r_stream_up", stream="cam") == 0)
    proxy.mend()
    wait_for("the source", lambda: daemon.metric("k2r_stream_up", stream="cam") == 1)
    time.sleep(2)
    daemon.stop()
    assert "no data for 2 s" in daemon.log()
    check_whole(world, daemon.recordings("cam"))
    check_known(world, daemon.recordings("cam"))


def killed(world, kills):
    """SIGKILL at any moment, again and again: the next start repairs what the last one left, and goes on."""
    daemon, camera = world.daemon("killed"), world.camera()
    chance = random.Random(4)
    daemon.configure({f"cam{number}": f'source = "{camera.url}"' for number in range(4)}, 'rotate = "3s"',
                     'fragment_duration = "500ms"')
    for _ in range(kills):
        if camera.live() > 0.9 * len(camera.packets):
            camera.begin = time.monotonic()  # the clip from its start, as from a camera that was switched off and on
        daemon.start()
        time.sleep(chance.uniform(0.2, 3))
        daemon.kill()
    daemon.start()
    wait_for("repairs", lambda: daemon.get("readyz")[0] == 200)
    wait_for("media", lambda: daemon.metric("k2r_stream_last_fragment_timestamp_seconds", stream="cam0") > 0)
    daemon.stop()
    recordings = [each for number in range(4) for each in daemon.recordings(f"cam{number}")]
    check_whole(world, recordings)
    print(f"  {kills} kills, {len(recordings)} recordings")


def disk_full(world):
    """A file system of 6 MB: when it is full, the stream says so, and goes on when there is room."""
    root = world.folder / "full" / "root"
    root.mkdir(parents=True)
    mount = 'mount -t tmpfs -o size=6m tmpfs "$0" && exec "$@"'
    daemon, camera = world.daemon("full", ["unshare", "-rm", "sh", "-c", mount, str(root)]), world.camera()
    daemon.configure({"cam": f'source = "{camera.url}"'}, 'rotate = "4s"')
    daemon.start()
    inside = pathlib.Path(f"/proc/{daemon.process.pid}/root{root}")
    filler = inside / "filler"
    wait_for("a fragment", lambda: daemon.metric("k2r_stream_last_fragment_timestamp_seconds", stream="cam") > 0)
    with open(filler, "wb") as file:
        try:
            while True:
                file.write(bytes(1 << 16))
                file.flush()
        except OSError:
            pass
    wait_for("the alarm", lambda: "cam" in unhealthy(daemon), 20)
    assert daemon.state("cam") == "blocked", daemon.state("cam")
    os.unlink(filler)
    wait_for("the recording to go on", lambda: daemon.state("cam") == "recording" and unhealthy(daemon) == {}, 20)
    stamp = daemon.metric("k2r_stream_last_fragment_timestamp_seconds", stream="cam")
    wait_for("another fragment", lambda: daemon.metric("k2r_stream_last_fragment_timestamp_seconds", stream="cam") > stamp)
    copy = world.folder / "full" / "copy"
    daemon.get("v1/streams/cam/stop", "POST")
    wait_for("the stop", lambda: daemon.state("cam") == "stopped")
    shutil.copytree(inside / "cam", copy)
    daemon.stop()
    recordings = sorted(copy.iterdir())
    check_whole(world, recordings)
    check_known(world, recordings)
    assert "No space left" in daemon.log()


def directory_gone(world):
    daemon, camera = world.daemon("gone"), world.camera()
    daemon.configure({"cam": f'source = "{camera.url}"', "other": f'source = "{camera.url}"'}, 'rotate = "4s"')
    daemon.start()
    for stream in ("cam", "other"):
        wait_for("a fragment", lambda: daemon.metric("k2r_stream_last_fragment_timestamp_seconds", stream=stream) > 0)
    shutil.rmtree(daemon.root / "cam")
    wait_for("a new recording", lambda: daemon.recordings("cam"), 20)
    stamp = daemon.metric("k2r_stream_last_fragment_timestamp_seconds", stream="cam")
    wait_for("its fragments", lambda: daemon.metric("k2r_stream_last_fragment_timestamp_seconds", stream="cam") > stamp + 2)
    daemon.stop()
    check_whole(world, daemon.recordings("cam"))
    check_continuous(world, daemon.recordings("other"))


def root_gone(world):
    """A root that loses its marker, as a disk that is not mounted any more, is not recorded into."""
    daemon, camera = world.daemon("unmounted"), world.camera()
    daemon.configure({"cam": f'source = "{camera.url}"'}, 'rotate = "2s"')
    daemon.start()
    wait_for("a fragment", lambda: daemon.metric("k2r_stream_last_fragment_timestamp_seconds", stream="cam") > 0)
    daemon.root.rename(daemon.folder / "away")
    daemon.root.mkdir()
    wait_for("the alarm", lambda: "cam" in unhealthy(daemon), 20)
    assert list(daemon.root.iterdir()) == [], "something was recorded beside the disk"
    daemon.root.rmdir()
    (daemon.folder / "away").rename(daemon.root)
    wait_for("the recording to go on", lambda: daemon.state("cam") == "recording" and unhealthy(daemon) == {}, 40)
    daemon.stop()
    check_whole(world, daemon.recordings("cam"))


def hook_hangs(world):
    """A hook that hangs and one that fails cost the recording nothing, are told, and are run again after a start."""
    daemon, camera = world.daemon("hook"), world.camera()
    done = daemon.folder / "done"
    fails = f'on_recording = ["sh", "-c", "test -e {daemon.folder}/ready && echo $0 >> {done}", "{{name}}"]'
    daemon.configure({"cam": f'source = "{camera.url}"\non_recording = ["sleep", "1000"]',
                      "other": f'source = "{camera.url}"\n{fails}'}, 'rotate = "2s"')
    daemon.start()
    wait_for("recordings", lambda: len(daemon.recordings("cam")) >= 3 and len(daemon.recordings("other")) >= 3)
    wait_for("a failure", lambda: daemon.metric("k2r_hook_runs_total", result="failure") >= 1)
    daemon.stop()
    check_continuous(world, daemon.recordings("cam"))
    (daemon.folder / "ready").touch()
    finished = {each.name for each in daemon.recordings("other")}
    daemon.start()
    wait_for("the hooks of before", lambda: done.exists() and finished <= set(done.read_text().split()))
    daemon.stop()


def bad_configuration(world):
    """An invalid file is not taken over while it runs, and refused at the start, with line and key."""
    daemon, camera = world.daemon("configuration"), world.camera()
    daemon.configure({"cam": f'source = "{camera.url}"'})
    daemon.start()
    wait_for("media", lambda: daemon.state("cam") == "recording")
    good = daemon.config.read_text()
    daemon.config.write_text(good + 'fragment_length = "4s"\n[[stream]]\nname = "Cam 2"\nsource = 7\n')
    daemon.reload()
    wait_for("the finding", lambda: "fragment_length" in daemon.log())
    assert daemon.state("cam") == "recording"
    check = subprocess.run([world.k2r, "serve", "--check", "--config", daemon.config], capture_output=True, text=True)
    assert check.returncode == 2 and all(word in check.stderr for word in ("fragment_length", "Cam 2", "source")), check.stderr
    daemon.config.write_text(good + f'[[stream]]\nname = "second"\nsource = "{camera.url}"\n')
    daemon.reload()
    wait_for("the new stream", lambda: "second" in daemon.metrics().__repr__() and daemon.state("second") == "recording")
    daemon.config.write_text(good.replace('name = "cam"', 'name = "third"'))
    daemon.reload()
    wait_for("the other stream", lambda: [each["name"] for each in daemon.json("v1/streams")["streams"] if
                                          each["state"] == "recording"] == ["third"])
    daemon.stop()
    for stream in ("cam", "second", "third"):
        check_whole(world, daemon.recordings(stream))
    assert len(daemon.recordings("cam")) == 1, "the reload disturbed a stream that did not change"


def disk_hangs(world):
    """A disk that does not respond keeps neither the streams of other disks nor the stop: not by its stream, nor by a
    request that waits for it, nor by a reload that looks for its hooks."""
    daemon, camera = world.daemon("hangs"), world.camera()
    disk = daemon.folder / "disk"
    disk.mkdir()
    daemon.configure({"cam": f'source = "{camera.url}"',
                      "away": f'source = "{camera.url}"\nroot = "{disk}"\non_recording = ["true"]'}, 'rotate = "2s"')
    daemon.start({"LD_PRELOAD": str(pathlib.Path(world.k2r).with_name("libhanging_disk.so")), "K2R_HANG": str(disk)})
    wait_for("a finished recording", lambda: len(list((disk / "away").glob("*"))) >= 2 and len(daemon.recordings("cam")) >= 2)
    (daemon.folder / "disk.hangs").touch()
    with socket.create_connection(("127.0.0.1", daemon.port)) as waiter:
        waiter.sendall(b"GET /v1/streams/away/index.m3u8?start=0&duration=1d HTTP/1.1\r\nHost: localhost\r\n\r\n")
        daemon.reload()
        count = len(daemon.recordings("cam"))
        wait_for("more recordings", lambda: len(daemon.recordings("cam")) >= count + 2)
        begin = time.monotonic()
        daemon.process.terminate()
        assert daemon.process.wait(20) == 6, daemon.log()
        assert time.monotonic() - begin < 5.5, f"the stop took {time.monotonic() - begin:.1f} s"
    assert "away: did not finish in time" in daemon.log() and "read again" not in daemon.log()
    check_whole(world, daemon.recordings("cam"))
    check_continuous(world, daemon.recordings("cam"))


def http_reloaded(world):
    """A token that is replaced ends with the reload; an address that cannot be used leaves the old one."""
    daemon, token = world.daemon("http"), world.folder / "http" / "token"

    def statuses(*tokens):
        return [daemon.get("v1/streams", headers={"Authorization": f"Bearer {each}"})[0] for each in tokens]
    old, new = "old" * 8, "new" * 8
    token.write_text(old)
    with socket.create_server(("127.0.0.1", 0)) as free:
        daemon.port = free.getsockname()[1]
    daemon.configure({}, server=f'token_file = "{token}"')
    daemon.start()
    assert statuses(old, new) == [200, 401]
    token.write_text(new)
    daemon.reload()
    wait_for("the new token", lambda: "read again" in daemon.log())
    assert statuses(old, new) == [401, 200]
    with socket.create_server(("127.0.0.1", 0)) as taken:
        good = daemon.config.read_text()
        daemon.config.write_text(good.replace(f":{daemon.port}", f":{taken.getsockname()[1]}"))
        daemon.reload()
        wait_for("the refusal", lambda: "was not changed" in daemon.log())
    assert statuses(new) == [200]
    daemon.stop()


def clock_set_back(world):
    """The machine's clock jumps back by an hour in the middle: nothing is lost, and names stay unique."""
    daemon, camera = world.daemon("clock"), world.camera()
    offset = daemon.folder / "offset"
    offset.write_text("+0")
    daemon.configure({"cam": f'source = "{camera.url}"'}, 'rotate = "2s"')
    daemon.start({"LD_PRELOAD": faketime(), "FAKETIME_TIMESTAMP_FILE": str(offset), "FAKETIME_CACHE_DURATION": "1",
                  "FAKETIME_DONT_FAKE_MONOTONIC": "1"})
    wait_for("recordings", lambda: len(daemon.recordings("cam")) >= 3)
    before = len(daemon.recordings("cam"))
    offset.write_text("-3600")
    wait_for("more of them", lambda: len(daemon.recordings("cam")) >= before + 3)
    daemon.stop()
    check_whole(world, daemon.recordings("cam"))
    by_time = sorted(daemon.recordings("cam"), key=lambda each: each.stat().st_mtime)
    check_continuous(world, by_time)


def faketime():
    return "/usr/lib/x86_64-linux-gnu/faketime/libfaketimeMT.so.1"


SCENARIOS = [rotation, source_dead_and_back, network_cut, disk_full, directory_gone, root_gone, hook_hangs, bad_configuration,
             disk_hangs, http_reloaded, clock_set_back]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("k2r")
    parser.add_argument("folder")
    parser.add_argument("--kills", type=int, default=5)
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    world = World(options.k2r, options.folder)

    def killed_often(it):
        killed(it, options.kills)
    scenarios = {each.__name__: each for each in SCENARIOS} | {"killed": killed_often}
    chosen = options.names or list(scenarios)
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        runs = {name: pool.submit(scenarios[name], world) for name in chosen}
        for name, result in runs.items():
            error = result.exception()
            print(f"{name}: {'passed' if error is None else f'FAILED: {error!r}'}", flush=True)
            failed += error is not None
    Daemon.kill_all()
    # The cameras' threads would keep the process.
    os._exit(1 if failed else 0)


if __name__ == "__main__":
    main()
