"""Cameras and bad networks on the loopback interface, as the tests of the daemon need them."""

import selectors
import socket
import threading
import time

PACKET = 188


class Camera:
    """Serves a transport stream of constant rate over TCP, in real time: every reader gets what is live when it comes,
    as from a camera. Can be dead for a while."""

    def __init__(self, clip, seconds):
        self.packets = open(clip, "rb").read()
        self.bytes_per_second = len(self.packets) / seconds
        self.begin = time.monotonic()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.alive = True
        self.readers = set()
        self.lock = threading.Lock()
        threading.Thread(target=self._accept, daemon=True).start()

    @property
    def url(self):
        return f"tcp://127.0.0.1:{self.port}"

    def live(self):
        """Offset in the clip of what is live now."""
        offset = int((time.monotonic() - self.begin) * self.bytes_per_second)
        return min(offset, len(self.packets)) // PACKET * PACKET

    def die(self):
        """Breaks all connections, and the next ones at once, until revive()."""
        self.alive = False
        with self.lock:
            for reader in self.readers:
                reader.shutdown(socket.SHUT_RDWR)

    def revive(self):
        self.alive = True

    def _accept(self):
        while True:
            reader, _ = self.listener.accept()
            threading.Thread(target=self._serve, args=(reader,), daemon=True).start()

    def _serve(self, reader):
        with self.lock:
            self.readers.add(reader)
        place = self.live()
        try:
            while self.alive and place < len(self.packets):
                end = self.live()
                reader.sendall(self.packets[place:end])
                place = end
                time.sleep(0.04)
        except OSError:
            pass
        with self.lock:
            self.readers.discard(reader)
            reader.close()


class Proxy:
    """Passes connections on to a port; cut() lets them hang, as a network does that drops what is sent."""

    def __init__(self, port):
        self.target = port
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.is_cut = False
        threading.Thread(target=self._accept, daemon=True).start()

    @property
    def url(self):
        return f"tcp://127.0.0.1:{self.port}"

    def cut(self):
        self.is_cut = True

    def mend(self):
        self.is_cut = False

    def _accept(self):
        while True:
            reader, _ = self.listener.accept()
            threading.Thread(target=self._pass, args=(reader,), daemon=True).start()

    def _pass(self, reader):
        try:
            source = socket.create_connection(("127.0.0.1", self.target))
            with selectors.DefaultSelector() as ready:
                ready.register(source, selectors.EVENT_READ)
                while True:
                    if self.is_cut:
                        # What comes meanwhile is lost, and the connection with it: nobody hears of that.
                        source.close()
                        while self.is_cut:
                            time.sleep(0.1)
                        break
                    if ready.select(0.1):
                        data = source.recv(65536)
                        if not data:
                            break
                        reader.sendall(data)
        except OSError:
            pass
        reader.close()
