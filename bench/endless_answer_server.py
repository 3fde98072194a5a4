#!/usr/bin/env python3
"""A local server whose every answer is a chunked body without end, for
bench/bench-endless-answer: 64 KB chunks of blanks, as fast as the client
reads them, until it hangs up. Listens on 127.0.0.1; the port is printed as
the first line on stdout once the server is ready.

Usage: endless_answer_server.py [CONTENT_TYPE]   (default application/json)
"""
import sys
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

CONTENT_TYPE = sys.argv[1] if len(sys.argv) > 1 else "application/json"
CHUNK = b" " * 65536
FRAME = b"%x\r\n" % len(CHUNK) + CHUNK + b"\r\n"


class Endless(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        self.send_response(200)
        self.send_header("Content-Type", CONTENT_TYPE)
        self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()
        try:
            while True:
                self.wfile.write(FRAME)
        except OSError:
            pass  # the client hung up

    def log_message(self, *args):
        pass


server = ThreadingHTTPServer(("127.0.0.1", 0), Endless)
server.daemon_threads = True
print(server.server_address[1], flush=True)
server.serve_forever()
