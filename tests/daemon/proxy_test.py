#!/usr/bin/env python3
"""A real `k2r serve` behind a real nginx, with the lines of docs/serve.md, a prefix and a token: everything is reached by
relative addresses. And reloads that change the token or the address.
Usage: proxy_test.py K2R DIRECTORY"""

import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import textwrap
import time
import urllib.error
import urllib.parse
import urllib.request

from daemonProcess import CLIP_SECONDS, Daemon, make_clip, wait_for
from liveServer import Camera

DOCUMENT = pathlib.Path(__file__).parents[2] / "docs" / "serve.md"
TOKENS = ("correct-horse-battery", "staple-of-another-kind")


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return listener.getsockname()[1]


def documented_location(port):
    """What docs/serve.md has for nginx, for a daemon at `port`."""
    block = re.search(r"^### Behind nginx$.*?^((?: {4}.*\n|\n)*? {4}}\n)", DOCUMENT.read_text(), re.M | re.S)[1]
    text = textwrap.dedent(block)
    assert text.count("127.0.0.1:8480/") == 1, text
    return text.replace("127.0.0.1:8480", f"127.0.0.1:{port}")


class Nginx:
    def __init__(self, folder, location):
        self.port = free_port()
        folder.mkdir()
        temporary = "".join(f"{kind}_temp_path {folder}/{kind};" for kind in
                            ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        config = folder / "nginx.conf"
        config.write_text(f"daemon off; master_process off; pid {folder}/pid; error_log {folder}/error.log;\n"
                          f"events {{}}\nhttp {{\naccess_log off; {temporary}\n"
                          f"server {{\nlisten 127.0.0.1:{self.port};\n{location}}}\n}}\n")
        program = shutil.which("nginx", path=os.environ["PATH"] + ":/usr/sbin")
        self.process = subprocess.Popen([program, "-e", folder / "error.log", "-c", config])
        Daemon.running.append(self.process)
        wait_for("nginx", self._listens)

    def _listens(self):
        assert self.process.poll() is None, "nginx refuses the configuration"
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", self.port)) == 0


class NoRedirects(urllib.request.HTTPRedirectHandler):
    def redirect_request(self, *_):
        return None


OPENER = urllib.request.build_opener(NoRedirects)


def ask(url, headers=None, data=None, method=None):
    """Status, headers and body."""
    try:
        with OPENER.open(urllib.request.Request(url, data, headers or {}, method=method), timeout=20) as answer:
            return answer.status, answer.headers, answer.read()
    except urllib.error.HTTPError as error:
        return error.code, error.headers, error.read()


def sign_in(page):
    """What a browser does with the form; returns its cookie."""
    status, _, form = ask(page)
    assert status == 401 and b'action="login"' in form, status
    login = urllib.parse.urljoin(page, "login")
    wrong = ask(login, data=urllib.parse.urlencode({"token": TOKENS[1]}).encode())
    assert wrong[0] == 401 and "Set-Cookie" not in wrong[1]
    status, headers, _ = ask(login, data=urllib.parse.urlencode({"token": TOKENS[0]}).encode())
    assert status == 303 and urllib.parse.urljoin(login, headers["Location"]) == page, (status, headers["Location"])
    return headers["Set-Cookie"].split(";")[0]


def check_page(page, cookie):
    status, _, html = ask(page, cookie)
    assert status == 200
    for name in re.findall(r'(?:src|href)="([^"]+)"', html.decode()):
        assert ask(urllib.parse.urljoin(page, name), cookie)[0] == 200, name


def check_playback(stream, bearer, folder):
    playlist = stream + "index.m3u8"
    status, _, text = ask(playlist, bearer)
    assert status == 200, status
    header = re.search(r'URI="([^"]+)"', text.decode())[1]
    for name in (header, text.decode().split()[-1]):
        status, headers, body = ask(urllib.parse.urljoin(playlist, name), bearer)
        assert status == 200 and headers["Content-Type"] == "video/mp4" and len(body) > 100, name
    token = bearer["Authorization"]
    decoded = subprocess.run(["ffmpeg", "-v", "warning", "-headers", f"Authorization: {token}\r\n", "-i",
                              f"{playlist}?start={time.time() - 5:.1f}&duration=3", "-f", "null", "-"],
                             stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
    assert decoded.returncode == 0 and decoded.stderr == "", decoded.stderr
    export = f"{stream}export.mp4?start={time.time() - 5:.1f}&duration=3"
    status, headers, whole = ask(export, bearer)
    assert status == 200 and len(whole) == int(headers["Content-Length"])
    (folder / "export.mp4").write_bytes(whole)
    subprocess.run(["ffprobe", "-v", "error", folder / "export.mp4"], check=True, capture_output=True)
    status, headers, part = ask(export, {**bearer, "Range": "bytes=1000-1999", "If-Range": headers["ETag"]})
    assert status == 206 and part == whole[1000:2000], (status, headers)


def check_changes(proxied, stream, cookie):
    """With a cookie, only our own page may change something."""
    own = {**cookie, "Origin": proxied}
    assert ask(stream + "rotate", own, method="POST")[0] == 204
    assert ask(stream + "rotate", {**cookie, "Origin": "http://elsewhere.example"}, method="POST")[0] == 403
    assert ask(stream + "rotate", method="POST")[0] == 401


def behind_nginx(daemon, folder):
    nginx = Nginx(folder / "nginx", documented_location(daemon.port))
    proxied = f"http://127.0.0.1:{nginx.port}"
    page, stream = f"{proxied}/recorder/", f"{proxied}/recorder/v1/streams/cam/"
    cookie = {"Cookie": sign_in(page)}
    check_page(page, cookie)
    check_playback(stream, {"Authorization": f"Bearer {TOKENS[0]}"}, folder)
    check_changes(proxied, stream, cookie)


def status_with(daemon, token):
    """None while the server changes what it listens on."""
    try:
        return daemon.get("v1/streams", headers={"Authorization": f"Bearer {token}"})[0]
    except OSError:
        return None


def reloads(daemon, token_file):
    """Another token in the same file counts from the reload on. An address that is in use changes nothing."""
    token_file.write_text(TOKENS[1])
    daemon.reload()
    wait_for("the other token", lambda: status_with(daemon, TOKENS[1]) == 200, 5)
    assert status_with(daemon, TOKENS[0]) == 401, "the old token still opens"
    with socket.create_server(("127.0.0.1", 0)) as taken:
        text = daemon.config.read_text()
        daemon.config.write_text(re.sub("listen = .*", f'listen = "127.0.0.1:{taken.getsockname()[1]}"', text))
        daemon.reload()
        wait_for("the refusal", lambda: "the configuration was not changed" in daemon.log(), 5)
        wait_for("the old address", lambda: status_with(daemon, TOKENS[1]) == 200, 5)


def main():
    k2r, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    token_file = folder / "token"
    token_file.write_text(TOKENS[0])
    token_file.chmod(0o600)
    make_clip(folder / "clip.ts")
    camera = Camera(folder / "clip.ts", CLIP_SECONDS)
    daemon = Daemon(k2r, folder / "daemon")
    daemon.port = free_port()
    daemon.configure({"cam": f'source = "{camera.url}"'}, server=f'token_file = "{token_file}"')
    try:
        daemon.start()
        time.sleep(6)
        behind_nginx(daemon, folder)
        reloads(daemon, token_file)
        daemon.stop()
        print("passed")
        status = 0
    except BaseException as error:  # Whatever it is, no process may be left.
        print(f"FAILED: {error!r}\n{daemon.log()}")
        status = 1
    Daemon.kill_all()
    sys.stdout.flush()
    # The camera's threads would keep the process.
    os._exit(status)


if __name__ == "__main__":
    main()
