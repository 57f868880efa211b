"""Servers of their own making: sockets and regular expressions, nothing of the product."""

import fcntl
import re
import selectors
import socket
import termios
import threading
import time
from typing import NamedTuple

from record import Record

CLIENT = "Kvn30RemoteClient"
SERVER = "Kvn30RemoteServer"
ELEMENT = re.compile(rb"<(\w+)[^>]*?(?:/>|></\1>)")
IDENTIFIER = re.compile(rb' RequestData="(\d+)"')


class Delivery(NamedTuple):
    time: float
    connection: int  # counts connections from 1
    data: bytes


def answer_all(tag, identifier):
    """What a friendly service answers to an element: bytes, or None for nothing."""
    if tag == b"GetStatus":
        return b'<Status Value="online" RequestData="%d" Server="relay" Version="1"/>' % identifier
    if tag in (b"RegisterAgent", b"UnregisterAgent") and identifier:
        return b'<RequestResult RequestData="%d" StatusCode="0"/>' % identifier
    return None


def answer_nothing(_tag, _identifier):
    return None


class WireServer:
    """Serves sockets on one thread and keeps every delivery as it came; a kind of it says in `react` what
    it does then."""

    def __init__(self, *paths):
        self.deliveries = []
        self.record = Record()  # the deliveries as text, to wait for
        self._peers = {}
        self._connections = 0
        self._selector = selectors.DefaultSelector()
        self._lock = threading.Lock()
        self._ending = False
        self._listeners = [self._listen(path) for path in paths]
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def _listen(self, path):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.unlink(missing_ok=True)
        listener = socket.socket(socket.AF_UNIX)
        listener.bind(str(path))
        listener.listen(5)
        self._selector.register(listener, selectors.EVENT_READ)
        return listener

    def _serve(self):
        while not self._ending:
            for key, _ in self._selector.select(0.02):
                with self._lock:
                    if self._ending:
                        return
                    if key.fileobj in self._listeners:
                        self._connections += 1
                        peer = key.fileobj.accept()[0]
                        self._peers[peer] = self._connections
                        self._selector.register(peer, selectors.EVENT_READ)
                        self.welcome(peer)
                    else:
                        self._read(key.fileobj)

    def _read(self, peer):
        try:
            data = peer.recv(65536)
        except OSError:
            data = b""
        if not data:
            self._forget(peer)
            return
        self.deliveries.append(Delivery(time.monotonic(), self._peers[peer], data))
        self.record.add(data.decode())
        self.react(peer, data)

    def welcome(self, peer):
        """A peer has connected."""

    def react(self, peer, data):
        """Bytes have come."""

    def _send(self, peer, data):
        try:
            peer.sendall(data)
        except OSError:
            self._forget(peer)

    def _forget(self, peer):
        if self._peers.pop(peer, None):
            self._selector.unregister(peer)
            peer.close()

    def stop_listening(self):
        """On the serving thread."""
        for listener in self._listeners:
            self._selector.unregister(listener)
            listener.close()
        self._listeners.clear()

    def push(self, data):
        """Sends bytes to everybody."""
        with self._lock:
            for peer in list(self._peers):
                self._send(peer, data)

    def all_taken(self):
        """Whether the peers have read everything that was sent to them."""
        with self._lock:
            return all(fcntl.ioctl(peer, termios.TIOCOUTQ, bytes(4)) == bytes(4) for peer in self._peers)

    @property
    def connected(self):
        with self._lock:
            return len(self._peers)

    def all_bytes(self):
        with self._lock:
            return b"".join(delivery.data for delivery in self.deliveries)

    def die(self):
        """Closes everything; the socket files stay, as after a crash."""
        with self._lock:
            self._ending = True
            for end in [*self._peers, *self._listeners]:
                end.close()
            self._peers.clear()
        self._thread.join()
        self._selector.close()


class WireDaemon(WireServer):
    """The service daemon: serves both pipes below a root."""

    def __init__(self, box, answer=answer_all):
        self.answer = answer
        super().__init__(box.pipes / CLIENT, box.pipes / SERVER)

    def react(self, peer, data):
        for element in ELEMENT.finditer(data):
            identifier = IDENTIFIER.search(element.group(0))
            answer = self.answer(element.group(1), int(identifier.group(1)) if identifier else 0)
            if answer is not None:
                self._send(peer, answer)
