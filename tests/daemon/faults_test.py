#!/usr/bin/env python3
"""Every fault that a recorder meets, against a real `k2r serve` with real sources: each recording stays whole, nothing is
lost but what the fault took, and log, metrics and health say what happened.
Usage: faults_test.py K2R CLOCK_LIBRARY DIRECTORY [--kills N] [NAME...]"""

import argparse
import concurrent.futures
import os
import pathlib
import random
import shutil
import socket
import subprocess
import time
import traceback
from datetime import datetime

from daemonProcess import Daemon, frames, make_clip, place_in, verify, wait_for, CLIP_SECONDS
from liveServer import Camera, Proxy

STALL = 'recording = { stall_timeout = "2s" }'


class World:
    """What all scenarios share: the program, the clip, and the frames of it."""

    def __init__(self, k2r, clock, folder):
        self.k2r, self.clock, self.folder = k2r, clock, pathlib.Path(folder)
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
    """Every frame is one of the source, in its order, none twice. The picture at which a connection broke off may be
    stored as far as it came."""
    for kind, reference in world.reference.items():
        known = {frame: index for index, frame in enumerate(reference)}
        order = []
        for frame in (each for recording in recordings for each in frames(world.k2r, recording)[kind]):
            following = reference[order[-1] + 1] if order else b""
            # The length in front of its slice differs, which stands behind parameter sets in a key frame: so by its end.
            is_part = frame not in known and len(frame) < len(following) and frame[-32:] in following
            order.append(order[-1] + 1 if is_part else known[frame])
        assert order == sorted(set(order)), f"{kind}: frames are doubled or out of order"


def unhealthy(daemon):
    return {each["name"]: each for each in daemon.json("v1/health")["notRecording"]}


def wait_for_fragment(daemon, stream="cam"):
    """Waits until another fragment of the stream is on disk."""
    name = "k2r_stream_last_fragment_timestamp_seconds"
    before = daemon.metric(name, stream=stream)
    wait_for("a fragment", lambda: daemon.metric(name, stream=stream) > before)


def wait_for_alarm(daemon, state, text):
    """Waits until health and metrics say that the stream does not record, with this in the reason."""
    def alarm():
        entry = unhealthy(daemon).get("cam")
        return entry and entry["state"] == state and text in entry["lastError"]["text"]
    wait_for(f"the alarm '{text}'", alarm)
    assert daemon.metric("k2r_stream_up", stream="cam") == 0
    assert text in daemon.log(), "the log does not say it"


def wait_for_recovery(daemon):
    wait_for("the recording to go on", lambda: daemon.state("cam") == "recording" and unhealthy(daemon) == {})
    assert daemon.metric("k2r_stream_up", stream="cam") == 1
    wait_for_fragment(daemon)


def check_gap(daemon, least):
    """The gap is in the list, and no fragment of the playlist lasts over it."""
    gaps = [gap for each in daemon.json("v1/streams/cam/recordings")["recordings"] for gap in each["gaps"]]
    spans = [datetime.fromisoformat(gap["end"]) - datetime.fromisoformat(gap["begin"]) for gap in gaps]
    assert [span.total_seconds() > least for span in spans] == [True], gaps
    playlist = daemon.get("v1/streams/cam/index.m3u8")[2].decode()
    lengths = [float(line[8:].rstrip(",")) for line in playlist.splitlines() if line.startswith("#EXTINF:")]
    assert lengths and max(lengths) < 2.5, playlist


def rotation(world):
    """Recordings of 2 s each, which together are the stream."""
    daemon, camera = world.daemon("rotation"), world.camera()
    daemon.configure({"cam": f'source = "{camera.url}"', "twin": f'source = "{camera.url}"'}, 'rotate = "2s"')
    daemon.start()
    wait_for("five recordings", lambda: len(daemon.recordings("cam")) >= 5)
    assert daemon.metric("k2r_stream_lost_frames_total") == daemon.metric("k2r_stream_lost_frames_total",
                                                                          reason="no_key_frame")
    daemon.stop()
    for stream in ("cam", "twin"):
        check_whole(world, daemon.recordings(stream))
        check_continuous(world, daemon.recordings(stream))


def source_dead_and_back(world):
    daemon, camera = world.daemon("dead"), world.camera()
    daemon.configure({"cam": f'source = "{camera.url}"\n{STALL}'})
    daemon.start()
    wait_for_fragment(daemon)
    assert unhealthy(daemon) == {}
    camera.die()
    wait_for_alarm(daemon, "connecting", "")
    time.sleep(2)
    camera.revive()
    wait_for_recovery(daemon)
    time.sleep(2)
    assert daemon.metric("k2r_stream_reconnects_total", stream="cam") >= 1
    assert daemon.metric("k2r_stream_lost_seconds_total", stream="cam", reason="source") > 1
    assert daemon.metric("k2r_stream_gaps_total", stream="cam") >= 1
    check_gap(daemon, 1.5)
    daemon.stop()
    log = daemon.log()
    assert "cam: warning: the input has ended; opening it again" in log and "the input is back after" in log
    assert "h264" not in log and "aac" not in log, "libav's decoders speak"
    check_whole(world, daemon.recordings("cam"))
    check_known(world, daemon.recordings("cam"))


def network_cut(world):
    daemon, proxy = world.daemon("cut"), Proxy(world.camera().port)
    daemon.configure({"cam": f'source = "{proxy.url}"\n{STALL}'})
    daemon.start()
    wait_for_fragment(daemon)
    proxy.cut()
    wait_for_alarm(daemon, "connecting", "no data for 2 s")
    proxy.mend()
    wait_for_recovery(daemon)
    time.sleep(2)
    assert daemon.metric("k2r_stream_lost_seconds_total", stream="cam", reason="source") > 1.9
    check_gap(daemon, 1.9)
    daemon.stop()
    check_whole(world, daemon.recordings("cam"))
    check_known(world, daemon.recordings("cam"))


class Life:
    """What a process that is about to be killed says it has done for each stream, and the recordings that it made."""

    def __init__(self, daemon, streams, before):
        self.counts = {name: [daemon.metric(f"k2r_stream_{what}_frames_total", stream=name)
                              for what in ("stored", "received", "lost")] for name in streams}
        daemon.kill()
        self.recordings = {name: [each for each in daemon.recordings(name) if each not in before] for name in streams}

    def check(self, world):
        """What was stored is there, and of what was received only the tail is not."""
        found = 0
        for name, (stored, received, lost) in self.counts.items():
            recordings = [each for each in self.recordings[name] if each.exists()]
            if recordings:
                check_continuous(world, recordings)
            each_frames = [frames(world.k2r, each) for each in recordings]
            count = sum(len(each["video"]) + len(each["audio"]) for each in each_frames)
            assert count >= stored, f"{name}: {count} frames found, {stored} stored"
            # Half a second of a fragment, up to the next key frame, of 25 pictures and 47 frames of sound a second.
            assert received - lost - count < 110, f"{name}: {count} frames found, {received} received, {lost} lost"
            found += len(recordings)
        return found


def killed(world, kills):
    """SIGKILL at any moment, again and again: the next start repairs what the last one left, and goes on."""
    daemon, camera = world.daemon("killed"), world.camera()
    chance = random.Random(4)
    streams = [f"cam{number}" for number in range(4)]
    quick = 'input_options = { analyzeduration = "500000" }'
    daemon.configure({name: f'source = "{camera.url}"\n{quick}' for name in streams}, 'rotate = "3s"',
                     'fragment_duration = "500ms"')
    lives = []
    for _ in range(kills):
        if camera.live() > 0.9 * len(camera.packets):
            camera.begin = time.monotonic()  # the clip from its start, as from a camera that was switched off and on
        before = {each for name in streams for each in daemon.recordings(name)}
        daemon.start()
        time.sleep(chance.uniform(0.3, 3.5))
        lives.append(Life(daemon, streams, before))
    daemon.start()
    wait_for("repairs", lambda: daemon.get("readyz")[0] == 200)
    wait_for_fragment(daemon, "cam0")
    daemon.stop()
    check_whole(world, [each for name in streams for each in daemon.recordings(name)])
    found = sum(life.check(world) for life in lives)
    assert "is in use" not in daemon.log(), "two threads repaired one recording"
    # Few kills may all come before a first fragment.
    assert kills < 10 or "was interrupted, and is finished now" in daemon.log()
    print(f"  {kills} kills, {found} recordings of killed processes")


def disk_full(world):
    """When the file system is full, the stream says so, and goes on when there is room."""
    root = world.folder / "full" / "root"
    root.mkdir(parents=True)
    mount = 'mount -t tmpfs -o size=24m tmpfs "$0" && exec "$@"'
    wrapper = ["unshare", "--user", "--map-root-user", "--mount", "sh", "-c", mount, str(root)]
    refused = subprocess.run([*wrapper, "true"], capture_output=True, text=True, check=False)
    if refused.returncode != 0:
        return f"skipped: this kernel does not let us mount in a namespace of our own: {refused.stderr.strip()}"
    daemon, camera = world.daemon("full", wrapper), world.camera()
    # Without rotation: a recording that is to begin just then has another reason, that there is little room.
    daemon.configure({"cam": f'source = "{camera.url}"'})
    daemon.start()
    inside = pathlib.Path(f"/proc/{daemon.process.pid}/root{root}")
    filler = inside / "filler"
    wait_for_fragment(daemon)
    with open(filler, "wb", buffering=0) as file:
        try:
            while True:
                file.write(bytes(1 << 16))
        except OSError:
            pass
    wait_for_alarm(daemon, "blocked", "No space left on device")
    os.unlink(filler)
    wait_for_recovery(daemon)
    copy = world.folder / "full" / "copy"
    daemon.get("v1/streams/cam/stop", "POST")
    wait_for("the stop", lambda: daemon.state("cam") == "stopped")
    # The queue takes what comes meanwhile.
    assert daemon.metric("k2r_stream_lost_frames_total", stream="cam") == daemon.metric(
        "k2r_stream_lost_frames_total", stream="cam", reason="no_key_frame")
    shutil.copytree(inside / "cam", copy)
    daemon.stop()
    recordings = sorted(copy.iterdir())
    check_whole(world, recordings)
    check_continuous(world, recordings)
    return None


def directory_gone(world):
    daemon, camera = world.daemon("gone"), world.camera()
    daemon.configure({"cam": f'source = "{camera.url}"', "other": f'source = "{camera.url}"'})
    daemon.start()
    wait_for_fragment(daemon)
    # In the middle of a fragment, which its segment still takes.
    shutil.move(daemon.root / "cam", daemon.folder / "removed")
    shutil.rmtree(daemon.folder / "removed")
    # The alarm may be over after one key frame; the error stays.
    wait_for("the error", lambda: "Failed to write file" in str(daemon.json("v1/streams")["streams"][0]["lastError"]))
    wait_for_recovery(daemon)
    assert daemon.metric("k2r_stream_recordings_begun_total", stream="cam") >= 2
    daemon.stop()
    log = daemon.log()
    assert "Failed to write file" in log and "cam: the recording's directory is gone: recording" in log
    check_whole(world, daemon.recordings("cam"))
    check_known(world, daemon.recordings("cam"))
    check_continuous(world, daemon.recordings("other"))


def root_gone(world):
    """A root that loses its marker, as a disk that is not mounted any more, is not recorded into. What could not be
    finished on it is finished when it is back, and then handed to its hook."""
    daemon, camera = world.daemon("unmounted"), world.camera()
    done = daemon.folder / "done"
    hook = f'on_recording = ["sh", "-c", "echo $0 >> {done}", "{{name}}"]'
    daemon.configure({"cam": f'source = "{camera.url}"\n{hook}'})
    daemon.start()
    wait_for_fragment(daemon)
    broken = daemon.json("v1/streams")["streams"][0]["recording"]
    daemon.root.rename(daemon.folder / "away")
    daemon.root.mkdir()
    wait_for_alarm(daemon, "blocked", "its marker")
    assert list(daemon.root.iterdir()) == [], "something was recorded beside the disk"
    assert not done.exists() or broken not in done.read_text(), "the hook got what is not finished"
    daemon.root.rmdir()
    (daemon.folder / "away").rename(daemon.root)
    wait_for_recovery(daemon)
    wait_for("the hook", lambda: done.exists() and broken in done.read_text())
    check_whole(world, [daemon.root / "cam" / broken])
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
    wait_for("a failure", lambda: daemon.metric("k2r_hook_runs_total", stream="other", result="failure") >= 1)
    assert daemon.metric("k2r_hooks_waiting", stream="cam") >= 2
    assert "hook of other/" in daemon.log()
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
    wait_for_fragment(daemon)
    good = daemon.config.read_text()
    daemon.config.write_text(good + 'fragment_length = "4s"\n[[stream]]\nname = "Cam 2"\nsource = 7\n')
    daemon.reload()
    wait_for("the finding", lambda: "the configuration was not changed" in daemon.log())
    assert daemon.state("cam") == "recording"
    for command in (["--check"], []):
        found = subprocess.run([world.k2r, "serve", *command, "--config", daemon.config], capture_output=True, text=True,
                               timeout=10, check=False)
        lines = {"fragment_length": len(good.splitlines()) + 1, "stream[2].name": len(good.splitlines()) + 3,
                 "stream[2].source": len(good.splitlines()) + 4}
        assert found.returncode == 2 and all(f":{line}:" in found.stderr and key in found.stderr
                                             for key, line in lines.items()), found.stderr
    daemon.config.write_text(good + f'[[stream]]\nname = "second"\nsource = "{camera.url}"\n')
    daemon.reload()
    names = lambda: [each["name"] for each in daemon.json("v1/streams")["streams"] if each["state"] == "recording"]
    wait_for("the new stream", lambda: names() == ["cam", "second"])
    daemon.config.write_text(good.replace('name = "cam"', 'name = "third"'))
    daemon.reload()
    wait_for("the other stream", lambda: names() == ["third"])
    wait_for_fragment(daemon, "third")
    daemon.stop()
    for stream in ("cam", "second", "third"):
        check_whole(world, daemon.recordings(stream))
        assert len(daemon.recordings(stream)) == 1, f"a reload disturbed {stream}"


def disk_hangs(world):
    """A disk that does not respond keeps neither the streams of other disks nor the stop: not by its stream, nor by a
    request that waits for it, nor by a reload that looks for the hooks of a new stream there."""
    daemon, camera = world.daemon("hangs"), world.camera()
    disk = daemon.folder / "disk"
    disk.mkdir()
    streams = {"cam": f'source = "{camera.url}"',
               "away": f'source = "{camera.url}"\nroot = "{disk}"\non_recording = ["true"]'}
    daemon.configure(streams, 'rotate = "2s"')
    daemon.start({"LD_PRELOAD": str(pathlib.Path(world.k2r).with_name("libhanging_disk.so")), "K2R_HANG": str(disk)})
    wait_for("a finished recording", lambda: len(list((disk / "away").glob("*"))) >= 2 and len(daemon.recordings("cam")) >= 2)
    (daemon.folder / "disk.hangs").touch()
    with socket.create_connection(("127.0.0.1", daemon.port)) as waiter:
        waiter.sendall(b"GET /v1/streams/away/index.m3u8?start=0&duration=1d HTTP/1.1\r\nHost: localhost\r\n\r\n")
        known = [daemon.get(path)[0] for path in ("v1/streams", "metrics", "v1/health")]
        assert known == [200, 200, 200], known
        daemon.configure(streams | {"new": streams["away"] + "\nenabled = false"}, 'rotate = "2s"')
        daemon.reload()
        count = len(daemon.recordings("cam"))
        wait_for("more recordings", lambda: len(daemon.recordings("cam")) >= count + 2)
        begin = time.monotonic()
        daemon.process.terminate()
        assert daemon.process.wait(20) == 6, daemon.log()
        assert time.monotonic() - begin < 7, f"the stop took {time.monotonic() - begin:.1f} s"
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
    assert daemon.get("v1/streams/cam/start", headers={"Authorization": f"Bearer {new}"})[0] == 405
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
    offset.write_text("0")
    daemon.configure({"cam": f'source = "{camera.url}"'}, 'rotate = "2s"')
    daemon.start({"LD_PRELOAD": world.clock, "K2R_CLOCK_OFFSET": str(offset)})
    wait_for("recordings", lambda: len(daemon.recordings("cam")) >= 3)
    before = len(daemon.recordings("cam"))
    offset.write_text("-3600")
    wait_for("more of them", lambda: len(daemon.recordings("cam")) >= before + 3)
    wait_for("the line", lambda: "the clock was set back" in daemon.log())
    assert unhealthy(daemon) == {}
    daemon.stop()
    check_whole(world, daemon.recordings("cam"))
    begun = [line.split(" recording ")[1].split()[0] for line in daemon.log().splitlines() if " begins" in line]
    assert sorted(begun) != begun and len(begun) == len(daemon.recordings("cam"))
    check_continuous(world, [daemon.root / "cam" / name for name in begun])


# The longest first.
SCENARIOS = [root_gone, directory_gone, disk_full, clock_set_back, hook_hangs, rotation, source_dead_and_back, network_cut,
             bad_configuration, disk_hangs, http_reloaded]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("k2r")
    parser.add_argument("clock", help="library that shifts the clock")
    parser.add_argument("folder")
    parser.add_argument("--kills", type=int, default=4)
    parser.add_argument("names", nargs="*")
    options = parser.parse_intermixed_args()
    world = World(options.k2r, options.clock, options.folder)

    def killed_often(it):
        killed(it, options.kills)
    scenarios = {"killed": killed_often} | {each.__name__: each for each in SCENARIOS}
    chosen = options.names or list(scenarios)
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        runs = {name: pool.submit(scenarios[name], world) for name in chosen}
        for name, run in runs.items():
            try:
                print(f"{name}: {run.result() or 'passed'}", flush=True)
            except Exception as error:  # the others go on
                failed += 1
                print(f"{name}: FAILED: {str(error)[:4000]}", *traceback.format_tb(error.__traceback__), sep="\n", flush=True)
    Daemon.kill_all()
    # The cameras' threads would keep the process.
    os._exit(1 if failed else 0)


if __name__ == "__main__":
    main()
