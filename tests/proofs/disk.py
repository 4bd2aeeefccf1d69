"""Disks of our own making for a guest: QEMU reaches each as a network block device at a socket.

A disk remembers in which order it was written to and what has been flushed since, as one with a
volatile cache does, so that a cut of the power can take what really may be lost.
"""

import contextlib
import errno
import os
import pathlib
import socket
import struct
import threading

# What a disk writes whole or not at all. File systems count on that for blocks of theirs.
BLOCK = 4096

# The protocol's numbers, of the newstyle handshake without structured replies.
START, OPTION, OPTION_REPLY = b"NBDMAGIC", b"IHAVEOPT", 0x3E889045565A9
REQUEST, REPLY = 0x25609513, 0x67446698
FIXED_NEWSTYLE, NO_ZEROES = 1, 2
OPTION_ABORT, OPTION_GO = 2, 7
ACKNOWLEDGED, INFORMATION, UNSUPPORTED = 1, 3, 2 ** 31 + 1
HAS_FLAGS, SENDS_FLUSH, SENDS_DURABLE = 1, 4, 8
READ, WRITE, DISCONNECT, FLUSH = 0, 1, 2, 3
DURABLE = 1


class Disk:
    def __init__(self, contents):
        self.contents = bytearray(contents)
        self._flushed = bytearray(contents)
        self._unflushed = []

    def read(self, offset, length):
        return self.contents[offset:offset + length]

    def write(self, offset, data, is_durable):
        self.contents[offset:offset + len(data)] = data
        self._unflushed.append((offset, bytes(data), is_durable))

    def flush(self):
        for offset, data, _ in self._unflushed:
            self._flushed[offset:offset + len(data)] = data
        self._unflushed.clear()

    def after_cut(self, survives):
        """What is found after a cut of the power, in which `survives()` tells of each block that
        was written and not flushed whether it came through."""
        left = bytearray(self._flushed)
        for offset, data, is_durable in self._unflushed:
            for start, end in _blocks(offset, offset + len(data)):
                if is_durable or survives():
                    left[start:end] = data[start - offset:end - offset]
        return left


def _blocks(start, end):
    while start < end:
        border = min(end, (start // BLOCK + 1) * BLOCK)
        yield start, border
        start = border


class Power:
    """What disks of one machine have in common. It goes off for all of them at once, between two
    requests."""

    def __init__(self):
        self.lock = threading.Lock()
        self.is_on = True
        self.requests = 0  # to write or flush
        self._last = None
        self._on_cut = None

    def cut_at(self, request, on_cut):
        """Cuts it when the disks have had so many requests."""
        with self.lock:
            self._last, self._on_cut = request, on_cut

    def cut(self):
        with self.lock:
            self.is_on = False

    def count(self):
        """One more request, with the lock held."""
        self.requests += 1
        if self._last is not None and self.requests >= self._last and self.is_on:
            self.is_on = False
            self._on_cut()


class Served:
    """A disk at a socket, for one connection after the other."""

    def __init__(self, disk, path, power):
        self.disk, self.path, self._power = disk, pathlib.Path(path), power
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.bind(str(path))
        self._socket.listen()
        threading.Thread(target=self._serve, daemon=True).start()

    def close(self):
        # Without this the thread that accepts would wait on.
        with contextlib.suppress(OSError):
            self._socket.shutdown(socket.SHUT_RDWR)
        self._socket.close()
        self.path.unlink(missing_ok=True)

    def _serve(self):
        while True:
            try:
                connection, _ = self._socket.accept()
            except OSError:
                return
            with connection, connection.makefile("rb") as incoming, \
                    contextlib.suppress(OSError, EOFError):
                self._shake_hands(connection, incoming)
                while self._answer(connection, incoming):
                    pass

    def _shake_hands(self, connection, incoming):
        connection.sendall(START + OPTION + struct.pack(">H", FIXED_NEWSTYLE | NO_ZEROES))
        _take(incoming, 4)
        flags = HAS_FLAGS | SENDS_FLUSH | SENDS_DURABLE
        while True:
            _, option, length = struct.unpack(">8sII", _take(incoming, 16))
            _take(incoming, length)

            def reply(kind, data=b"", option=option):
                connection.sendall(struct.pack(">QIII", OPTION_REPLY, option, kind, len(data))
                                   + data)
            if option == OPTION_GO:
                reply(INFORMATION, struct.pack(">HQH", 0, len(self.disk.contents), flags))
                return reply(ACKNOWLEDGED)
            if option == OPTION_ABORT:
                raise EOFError
            reply(UNSUPPORTED)

    def _answer(self, connection, incoming):
        _, flags, kind, handle, offset, length = struct.unpack(">IHHQQI", _take(incoming, 28))
        data = _take(incoming, length) if kind == WRITE else b""
        if kind == DISCONNECT:
            return False
        error, answer = 0, b""
        with self._power.lock:
            if not self._power.is_on:
                return False
            try:
                answer = self._do(kind, flags, offset, length, data)
            except OSError as failure:
                error = failure.errno
            if kind in (WRITE, FLUSH):
                self._power.count()
        connection.sendall(struct.pack(">IIQ", REPLY, error, handle) + answer)
        return True

    def _do(self, kind, flags, offset, length, data):
        if kind == READ:
            return bytes(self.disk.read(offset, length))
        if kind == WRITE:
            self.disk.write(offset, data, bool(flags & DURABLE))
        elif kind == FLUSH:
            self.disk.flush()
        else:
            raise OSError(errno.EINVAL, os.strerror(errno.EINVAL))
        return b""


def _take(incoming, length):
    data = incoming.read(length)
    if len(data) != length:
        raise EOFError
    return data


@contextlib.contextmanager
def serve(folder, disks, power=None):
    """Serves disks by name; what Machine wants to know of them."""
    power = power or Power()
    served = {name: Served(disk, folder / f"{name}.disk", power) for name, disk in disks.items()}
    try:
        yield {name: each.path for name, each in served.items()}
    finally:
        for each in served.values():
            each.close()
