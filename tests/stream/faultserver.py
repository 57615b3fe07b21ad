#!/usr/bin/env python3
"""A small HTTP server for the stream tests and benchmark, on 127.0.0.1 only.

Serves one file with byte ranges at /<mode>/<name>, where <mode> chooses a fault:

  ok          ranges answered as a good server does (ETag, Last-Modified, 206)
  notfound    404            forbidden   403            error      500 every time
  error-once  500 on the first data request, then good
  busy        429 (Retry-After: 1) every time
  busy-once   429 (Retry-After: 1) on the first data request, then good
  drop        data requests (all but the first request) are cut mid-body
  drop-once   the first data request is cut mid-body, then good
  short       206 whose body is shorter than its Content-Range
  long        206 whose body is longer than asked for
  noranges    200 with the whole file, whatever the Range header says
  changed     data requests carry another ETag and size (the file changed)
  redirect    302 to /ok/<name>
  stall       data requests wait 20 s before any answer
  switch      good while /control/up, connections closed at once after /control/down
  nomulti     good (the name only says it): like every mode but badmulti, a request for
              several ranges at once gets 200 and the whole file, as some object stores answer
  badmulti    several ranges get a multipart answer whose first part is one byte off what
              was asked (its Content-Range says so)

With --upstream URL it is instead a proxy to URL that waits --delay-ms before each request
(the benchmark's slow network). It prints "PORT <n>" once listening and stops by itself after
--lifetime seconds or --max-requests requests.
"""
import argparse
import http.client
import os
import re
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import urlsplit

STATE = {"up": True, "requests": 0, "seen": {}}
LOCK = threading.Lock()


def parse_range(header, size):
    m = re.fullmatch(r"bytes=(\d+)-(\d*)", header or "")
    if not m:
        return None
    first = int(m.group(1))
    last = int(m.group(2)) if m.group(2) else size - 1
    return first, min(last, size - 1)


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    timeout = 20
    # Headers and body leave in separate writes: with Nagle's algorithm the body would wait for
    # the client's delayed acknowledgement, 40 ms more per request than the delay asked for.
    disable_nagle_algorithm = True

    def log_message(self, *args):
        pass

    def count(self, mode):
        with LOCK:
            STATE["requests"] += 1
            STATE["seen"][mode] = STATE["seen"].get(mode, 0) + 1
            if STATE["requests"] >= self.server.max_requests:
                threading.Thread(target=self.server.shutdown, daemon=True).start()
            return STATE["seen"][mode]

    def plain(self, status, text, extra=None):
        body = text.encode()
        self.send_response(status)
        for k, v in (extra or {}).items():
            self.send_header(k, v)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def do_GET(self):
        if self.server.upstream:
            return self.proxy()
        parts = self.path.split("/")
        if len(parts) >= 3 and parts[1] == "control":
            with LOCK:
                STATE["up"] = parts[2] == "up"
            return self.plain(200, "ok")
        if len(parts) < 3:
            return self.plain(404, "no mode")
        mode, name = parts[1], "/".join(parts[2:])
        nth = self.count(mode)
        data_request = nth > 1  # the first request of a mode is the stream's opening one
        if mode == "switch" and not STATE["up"]:
            self.close_connection = True
            self.connection.shutdown(2)
            return
        if mode == "notfound":
            return self.plain(404, "not here")
        if mode == "forbidden":
            return self.plain(403, "go away")
        if mode == "error" or (mode == "error-once" and nth == 2):
            return self.plain(500, "broken")
        if mode == "busy" or (mode == "busy-once" and nth == 2):
            return self.plain(429, "slow down", {"Retry-After": "1"})
        if mode == "stall" and data_request:
            time.sleep(20)
        if mode == "redirect":
            return self.plain(302, "moved", {"Location": "/ok/" + name})
        self.serve_file(mode, nth, data_request)

    def serve_file(self, mode, nth, data_request):
        data = self.server.data
        size = len(data)
        etag, modified = '"v1"', "Sun, 01 Nov 2026 10:00:00 GMT"
        if mode == "changed" and data_request:
            etag, size, data = '"v2"', size - 1000, data[:-1000]
        if mode == "badmulti" and "," in self.headers.get("Range", ""):
            return self.serve_bad_multipart(data, size, etag)
        rng = parse_range(self.headers.get("Range"), size)
        if mode == "noranges" or rng is None:
            self.send_response(200)
            self.send_header("Content-Length", str(size))
            self.send_header("ETag", etag)
            self.end_headers()
            try:
                self.wfile.write(data)
            except OSError:
                pass
            return
        first, last = rng
        body = data[first:last + 1]
        declared = len(body)
        if mode == "long" and data_request:
            body = body + b"\0" * 4096
            declared = len(body)
        self.send_response(206)
        self.send_header("Content-Range", "bytes %d-%d/%d" % (first, last, size))
        self.send_header("ETag", etag)
        self.send_header("Last-Modified", modified)
        self.send_header("Accept-Ranges", "bytes")
        self.send_header("Content-Length", str(declared))
        self.end_headers()
        cut = (mode == "drop" and data_request) or (mode == "drop-once" and nth == 2)
        if mode == "short" and data_request:
            body = body[: len(body) // 2]
            cut = True
        if cut:
            self.wfile.write(body[: len(body) // 2])
            self.wfile.flush()
            self.close_connection = True
            self.connection.shutdown(2)
            return
        self.wfile.write(body)

    def serve_bad_multipart(self, data, size, etag):
        spans = [tuple(int(x) for x in r.split("-")) for r in self.headers["Range"][6:].split(",")]
        spans[0] = (spans[0][0] + 1, min(spans[0][1] + 1, size - 1))
        body = b""
        for first, last in spans:
            body += b"\r\n--XRVB\r\nContent-Type: image/jp2\r\n"
            body += b"Content-Range: bytes %d-%d/%d\r\n\r\n" % (first, last, size) + data[first:last + 1]
        body += b"\r\n--XRVB--\r\n"
        self.send_response(206)
        self.send_header("Content-Type", "multipart/byteranges; boundary=XRVB")
        self.send_header("ETag", etag)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def proxy(self):
        self.count("proxy")
        time.sleep(self.server.delay)
        up = urlsplit(self.server.upstream)
        conn = http.client.HTTPConnection(up.hostname, up.port, timeout=30)
        headers = {k: v for k, v in self.headers.items() if k.lower() in ("range", "user-agent", "if-range")}
        conn.request("GET", self.path, headers=headers)
        answer = conn.getresponse()
        body = answer.read()
        self.send_response(answer.status)
        for k, v in answer.getheaders():
            if k.lower() in ("content-range", "etag", "last-modified", "content-type", "accept-ranges", "location"):
                self.send_header(k, v)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)
        conn.close()


class Server(ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, request, client_address):
        pass  # a client that hangs up (a cancelled read, a stopped run) is no news


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--file", help="the file to serve")
    ap.add_argument("--upstream", help="proxy to this http://host:port instead")
    ap.add_argument("--delay-ms", type=float, default=0)
    ap.add_argument("--lifetime", type=float, default=300)
    ap.add_argument("--max-requests", type=int, default=20000)
    args = ap.parse_args()
    server = Server(("127.0.0.1", 0), Handler)
    server.data = open(args.file, "rb").read() if args.file else b""
    server.upstream = args.upstream
    server.delay = args.delay_ms / 1000.0
    server.max_requests = args.max_requests
    threading.Timer(args.lifetime, server.shutdown).start()
    print("PORT %d" % server.server_address[1], flush=True)
    try:
        server.serve_forever(poll_interval=0.2)
    finally:
        server.server_close()
        os._exit(0)


if __name__ == "__main__":
    main()
