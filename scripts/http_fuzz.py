#!/usr/bin/env python3
"""Sends random and mutated requests to two servers, with a token and without: http_fuzz.py PROGRAM SEEDS SECONDS SEED.

Many connections at a time: some send their request in pieces, some stop in the middle, some do not read, some send one
request after the other. A client that asks properly has to get its answer all the while, and the servers have to end well."""

import os
import random
import socket
import subprocess
import sys
import threading
import time

TOKEN = "token-of-the-fuzzed-server"
PATIENCE_S = 10
WORDS = [b"GET", b"HEAD", b"POST", b"OPTIONS", b"PUT", b"/", b"/small", b"/large", b"/v1/streams", b"/metrics", b"/login",
         b"%2f", b"%00", b"..", b"?", b"&", b"=", b"start=", b"HTTP/1.1", b"HTTP/1.0", b"HTTP/9.9", b"\r\n", b"\r\n\r\n", b"\n",
         b"Host: localhost", b"Content-Length: 5", b"Content-Length: 99999999999999999999", b"Transfer-Encoding: chunked",
         b"5\r\nabcde\r\n", b"0\r\n\r\n", b"Range: bytes=0-", b"Range: bytes=-1", b"Expect: 100-continue", b"Connection: close",
         b"Upgrade: h2c", b"Cookie: ", b"Authorization: Bearer " + TOKEN.encode(), b"A: " + b"a" * 3000, b"\0", b"\xff", b" "]


class Server:
    def __init__(self, program, token):
        self.process = subprocess.Popen([program] + ([token] if token else []), stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE)
        self.port = int(self.process.stdout.readline())
        self.errors = []
        self.reader = threading.Thread(target=lambda: self.errors.extend(self.process.stderr))
        self.reader.start()

    def stop(self):
        """Returns what is wrong with its end, or nothing."""
        begin = time.monotonic()
        self.process.stdin.close()
        try:
            status = self.process.wait(30)
        except subprocess.TimeoutExpired:
            self.process.kill()
            status = "none within 30 s"
        self.reader.join()
        print(f"port {self.port}: ended in {time.monotonic() - begin:.2f} s")
        if status == 0 and not self.errors:
            return None
        return f"the server ended with status {status}:\n" + b"".join(self.errors[-200:]).decode(errors="replace")


def seeds(folder):
    found = []
    for name in sorted(os.listdir(folder)):
        with open(os.path.join(folder, name), "rb") as seed:
            found.append(seed.read().removeprefix(b"!"))
    return found + [b"GET /large HTTP/1.1\r\nHost: localhost\r\n\r\n", b"GET /small HTTP/1.1\r\nHost: localhost\r\n\r\n"]


def mutated(rng, corpus):
    data = bytearray(rng.choice(corpus))
    for _ in range(rng.choice([0, 1, 1, 2, 4, 16])):
        at = rng.randrange(len(data) + 1)
        kind = rng.randrange(6)
        if kind == 0:
            data[at:at] = rng.choice(WORDS)
        elif kind == 1:
            del data[at:at + rng.randrange(1, 20)]
        elif kind == 2 and at < len(data):
            data[at] = rng.randrange(256)
        elif kind == 3:
            data[at:at] = rng.choice(corpus)
        elif kind == 4:
            data[at:at] = data[at:at + rng.randrange(1, 50)] * rng.randrange(1, 200)
        else:
            data[at:at] = rng.randbytes(rng.randrange(1, 40))
    return bytes(data[:200_000])


def misbehave(rng, port, corpus):
    with socket.socket() as client:
        if rng.random() < 0.1:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        client.settimeout(rng.choice([0.001, 0.02, 0.02, 1]))
        client.connect(("127.0.0.1", port))
        for _ in range(rng.choice([1, 1, 3])):
            data = mutated(rng, corpus)
            step = rng.choice([len(data) + 1, len(data) + 1, 1000, 7])
            for at in range(0, min(len(data), step * 200), step):
                client.sendall(data[at:at + step])
            for _ in range(rng.choice([0, 1, 50])):
                if not client.recv(1 << 16):
                    return
        if rng.random() < 0.2:  # Ends with RST.
            client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")


class Run:
    def __init__(self, port, corpus, until):
        self.port, self.corpus, self.until = port, corpus, until
        self.sent = self.asked = 0
        self.slowest = 0.0
        self.fault = None

    def attack(self, seed):
        rng = random.Random(seed)
        while time.monotonic() < self.until and not self.fault:
            try:
                misbehave(rng, self.port, self.corpus)
            except OSError:
                pass  # Refused, cut or not answered in time: as it may be.
            self.sent += 1

    def ask(self):
        """The client that behaves."""
        request = f"GET /small HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer {TOKEN}\r\nConnection: close\r\n\r\n"
        while time.monotonic() < self.until and not self.fault:
            begin = time.monotonic()
            try:
                with socket.create_connection(("127.0.0.1", self.port), PATIENCE_S) as client:
                    client.sendall(request.encode())
                    answer = b"".join(iter(lambda: client.recv(1 << 16), b""))
                if not answer.startswith(b"HTTP/1.1 200") or not answer.endswith(b"\r\n\r\nhead " + b"x" * 100):
                    self.fault = f"a proper request was answered with {answer[:200]}"
            except OSError as error:
                self.fault = f"a proper request failed: {error}"
            self.slowest = max(self.slowest, time.monotonic() - begin)
            self.asked += 1


def main():
    program, folder, seconds, seed = sys.argv[1], sys.argv[2], float(sys.argv[3]), int(sys.argv[4])
    print(f"seed {seed}")
    corpus = seeds(folder)
    servers = [Server(program, token) for token in ("", TOKEN)]
    until = time.monotonic() + seconds
    runs = [Run(server.port, corpus, until) for server in servers]
    threads = [threading.Thread(target=run.ask) for run in runs]
    threads += [threading.Thread(target=run.attack, args=(seed * 1000 + i,)) for i, run in enumerate(runs * 8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    faults = [run.fault for run in runs] + [server.stop() for server in servers]
    for run in runs:
        print(f"port {run.port}: {run.sent} connections with random requests, {run.asked} proper ones, "
              f"the slowest answered in {run.slowest:.2f} s")
    faults = [fault for fault in faults if fault]
    print("\n".join(faults) if faults else "both servers served all the while")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
