#!/usr/bin/env python3
"""Careless and hostile clients of the aircraft's live page, each followed by a look at the page.

    http_hostile.py PORT

Prints what each client got and how long the page took beside them; a line "FAIL: ..." for every
cap that did not hold, and exits 1 if there was one.
"""
import socket
import subprocess
import sys
import threading
import time

PORT = int(sys.argv[1])
PAGE_WITHIN = 3.0  # seconds, for the page beside idle connections and slow senders
failed = False


def fail(what):
    global failed
    failed = True
    print("FAIL: " + what)


def status_of(head, stream_lines=0, deadline=10.0):
    """Sends a request head (then up to stream_lines more header lines of 1 KiB while the page
    takes them) and returns the answer's status (0: none) and the bytes the page took."""
    s = socket.create_connection(("127.0.0.1", PORT), timeout=deadline)
    sent = 0
    end = time.time() + deadline
    try:
        s.sendall(head)
        sent = len(head)
        line = b"X-More: " + b"m" * 1014 + b"\r\n"
        for _ in range(stream_lines):
            if time.time() > end:
                break
            s.sendall(line)
            sent += len(line)
    except OSError:
        pass  # refused and closed while sending: the answer may still be there
    try:
        answer = s.recv(64)
    except OSError:
        answer = b""
    s.close()
    parts = answer.split(b" ")
    return (int(parts[1]) if len(parts) > 1 and parts[1].isdigit() else 0), sent


def request(lines, first=b"GET /api/state HTTP/1.1"):
    return first + b"\r\nHost: 127.0.0.1\r\n" + b"".join(lines) + b"\r\n"


def refused(what, status, allowed=(400, 431)):
    print("%s: %d" % (what, status))
    if status not in allowed:
        fail("%s: answered %d, not refused with %s" % (what, status, " or ".join(map(str, allowed))))


def page(what):
    t = time.time()
    code = subprocess.run(["curl", "-s", "-o", "/dev/null", "-w", "%{http_code}", "--max-time", "10",
                           "http://127.0.0.1:%d/" % PORT], capture_output=True, text=True).stdout
    took = time.time() - t
    print("the page beside %s: %s in %.2f s" % (what, code, took))
    if code != "200" or took > PAGE_WITHIN:
        fail("the page beside %s: %s in %.2f s (limit %.1f s)" % (what, code, took, PAGE_WITHIN))


# The head of a request: a browser's dozen lines pass; too many lines, or one too long, are refused
# and never grow the aircraft's memory, however much follows.
headers = [b"X-%d: a\r\n" % i for i in range(100)]
status, _ = status_of(request(headers[:40]))
print("40 header lines: %d" % status)
if status != 200:
    fail("a request of 40 header lines answered %d, not 200" % status)
refused("100 header lines", status_of(request(headers))[0])
refused("a header line of 1 MiB", status_of(request([b"X-Long: " + b"l" * (1 << 20) + b"\r\n"]))[0])
status, sent = status_of(b"GET / HTTP/1.1\r\n", stream_lines=100_000)
refused("header lines streamed (up to 100 MiB)", status)
print("the page took %d bytes of them" % sent)
if sent > 16 << 20:
    fail("the page took %d bytes of streamed header lines" % sent)

# 500 connections that never send a byte, and 200 senders (more than the page's threads) that send
# a byte every 0.1 s and connect again whenever they are cut.
stop = threading.Event()


def slow_sender():
    while not stop.is_set():
        try:
            s = socket.create_connection(("127.0.0.1", PORT), timeout=5)
            for b in b"GET / HTTP/1.1\r\nX-Slow: " + b"s" * 400:
                if stop.is_set():
                    break
                s.send(bytes([b]))
                time.sleep(0.1)
        except OSError:
            pass


idle = []
for _ in range(500):
    s = socket.socket()
    s.setblocking(False)
    try:
        s.connect(("127.0.0.1", PORT))
    except BlockingIOError:
        pass
    idle.append(s)
senders = [threading.Thread(target=slow_sender, daemon=True) for _ in range(200)]
for t in senders:
    t.start()
time.sleep(1.0)
page("500 idle connections and 200 slow senders")
time.sleep(1.0)
page("them, a second later")
stop.set()
for s in idle:
    s.close()
sys.exit(1 if failed else 0)
