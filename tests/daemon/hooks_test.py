#!/usr/bin/env python3
"""Hooks that copy recordings to a second store with rclone, as docs/serve.md has them, while the store is away and when it
is back; and playback of the copy from a static server, without the daemon.
Usage: hooks_test.py K2R DIRECTORY"""

import filecmp
import os
import re
import subprocess
import urllib.request

from daemonProcess import verify, wait_for
from documented import free_port, lines_of_manual, run, start_server


def serve_by_rclone(kind, folder, port):
    start_server(["rclone", "serve", kind, folder, "--addr", f"127.0.0.1:{port}"], port, f"{folder}.{kind}.log")


def copies(daemon, store):
    """Records, and lets the hooks fail first, since the store does not run yet."""
    port = free_port()
    config = daemon.folder / "rclone.conf"
    config.write_text(f"[store]\ntype = webdav\nurl = http://127.0.0.1:{port}\nvendor = other\n")
    daemon.start({"RCLONE_CONFIG": str(config), "RCLONE_RETRIES": "1", "RCLONE_LOW_LEVEL_RETRIES": "1"})
    wait_for("a failure", lambda: daemon.metric("k2r_hook_runs_total", result="failure") >= 1)
    assert "connection refused" in daemon.log(), "the log lacks the reason"
    serve_by_rclone("webdav", store, port)
    wait_for("a whole recording", lambda: len(daemon.recordings("cam")) >= 3)
    daemon.get("v1/streams/cam/stop", "POST")
    wait_for("all hooks", lambda: daemon.metric("k2r_hooks_waiting") == 0)
    recordings = daemon.recordings("cam")
    assert daemon.metric("k2r_hook_runs_total", result="success") == len(recordings)
    daemon.stop()
    for recording in recordings:
        names = [each.name for each in recording.iterdir()]
        copy = store / "cam" / recording.name
        same, _, _ = filecmp.cmpfiles(recording, copy, names, shallow=False)
        assert sorted(same) == sorted(names) == sorted(os.listdir(copy)), f"{copy}: {same}"
        assert not list((daemon.root / ".k2r" / "hooks").iterdir()), "a marker was left"
    return [store / "cam" / recording.name for recording in recordings]


def decoded_frames(url):
    """Pictures that ffmpeg shows, without a word of complaint."""
    result = subprocess.run(["ffmpeg", "-v", "warning", "-xerror", "-i", url, "-map", "0:v", "-map", "0:a", "-f", "null",
                             "-stats", "-"], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
    lines = [line for line in re.split("[\r\n]+", result.stderr) if line.strip()]
    assert result.returncode == 0 and all(line.startswith("frame=") for line in lines), f"{url}: {result.stderr}"
    return int(re.search(r"frame= *(\d+)", lines[-1])[1])


def check_ranges(url, playlist):
    """Each span that the playlist names comes by a range request, and is a fragment."""
    spans = re.findall(r"#EXT-X-BYTERANGE:(\d+)@(\d+)", playlist)
    assert len(spans) >= 3, playlist
    for length, begin in spans:
        request = urllib.request.Request(url, headers={"Range": f"bytes={begin}-{int(begin) + int(length) - 1}"})
        with urllib.request.urlopen(request, timeout=20) as answer:
            body = answer.read()
            assert answer.status == 206 and len(body) == int(length) and body[4:8] == b"moof", url


def plays_from_store(k2r, store, recording):
    """The copy is whole, and plays as a file, by spans of it, and as the plain view."""
    name = recording.name
    assert verify(k2r, recording).returncode == 0
    pictures = int(subprocess.run(["ffprobe", "-v", "error", "-count_packets", "-select_streams", "v", "-show_entries",
                                   "stream=nb_read_packets", "-of", "csv=p=0", recording / f"{name}Seg1.k2r"],
                                  check=True, capture_output=True, text=True).stdout)
    plain = store / "plain" / name
    plain.parent.mkdir(exist_ok=True)
    subprocess.run([k2r, "playlist", recording, "--plain", plain], check=True, capture_output=True)
    playlist = subprocess.run([k2r, "playlist", recording], check=True, capture_output=True, text=True).stdout
    port = free_port()
    serve_by_rclone("http", store, port)
    segment = f"http://127.0.0.1:{port}/cam/{name}/{name}Seg1.k2r"
    check_ranges(segment, playlist)
    for url in (segment, f"http://127.0.0.1:{port}/plain/{name}/index.m3u8"):
        assert decoded_frames(url) == pictures > 20, url


def test(daemon, source, folder):
    hook = lines_of_manual(r'^ {4}(on_recording = \["rclone"[^\n]*\])$')
    daemon.configure({"cam": f'source = "{source}"\n{hook}'}, 'rotate = "4s"')
    store = folder / "store"
    store.mkdir()
    recordings = copies(daemon, store)
    plays_from_store(daemon.k2r, store, recordings[1])


if __name__ == "__main__":
    run(test)
