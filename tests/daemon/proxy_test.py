#!/usr/bin/env python3
"""A real `k2r serve` behind a real nginx, with the lines of docs/serve.md, a prefix and a token: everything is reached by
relative addresses.
Usage: proxy_test.py K2R DIRECTORY"""

import os
import re
import shutil
import subprocess
import textwrap
import time
import urllib.error
import urllib.parse
import urllib.request

from daemonProcess import wait_for
from documented import free_port, lines_of_manual, run, start_server

TOKEN = "correct-horse-battery"


def start_nginx(folder, daemon_port):
    """Runs nginx with the lines of the manual; returns its port."""
    location = textwrap.dedent(lines_of_manual(r"^### Behind nginx$.*?^((?: {4}[^\n]*\n|\n)*? {4}}\n)"))
    assert location.count("127.0.0.1:8480/") == 1, location
    location = location.replace("127.0.0.1:8480", f"127.0.0.1:{daemon_port}")
    port = free_port()
    temporary = "".join(f"{kind}_temp_path {folder}/{kind};" for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
    config = folder / "nginx.conf"
    config.write_text(f"daemon off; master_process off; pid {folder}/nginx.pid; error_log stderr;\nevents {{}}\n"
                      f"http {{\naccess_log off; {temporary}\nserver {{\nlisten 127.0.0.1:{port};\n{location}}}\n}}\n")
    program = shutil.which("nginx", path=os.environ["PATH"] + ":/usr/sbin")
    start_server([program, "-e", "stderr", "-c", config], port, folder / "nginx.log")
    return port


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
    wrong = ask(login, data=urllib.parse.urlencode({"token": "wrong" + TOKEN}).encode())
    assert wrong[0] == 401 and "Set-Cookie" not in wrong[1]
    status, headers, _ = ask(login, data=urllib.parse.urlencode({"token": TOKEN}).encode())
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
    proxied = f"http://127.0.0.1:{start_nginx(folder, daemon.port)}"
    page, stream = f"{proxied}/recorder/", f"{proxied}/recorder/v1/streams/cam/"
    cookie = {"Cookie": sign_in(page)}
    check_page(page, cookie)
    check_playback(stream, {"Authorization": f"Bearer {TOKEN}"}, folder)
    check_changes(proxied, stream, cookie)


def test(daemon, source, folder):
    token_file = folder / "token"
    token_file.write_text(TOKEN)
    token_file.chmod(0o600)
    daemon.configure({"cam": f'source = "{source}"'}, server=f'token_file = "{token_file}"')
    daemon.start()
    bearer = {"Authorization": f"Bearer {TOKEN}"}
    wait_for("media", lambda: daemon.get("v1/streams/cam/index.m3u8", headers=bearer)[2].count(b".m4s") >= 6)
    behind_nginx(daemon, folder)
    daemon.stop()


if __name__ == "__main__":
    run(test)
