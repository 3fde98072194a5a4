#!/usr/bin/env python3
"""A local stand-in for the open music database, for bench/bench-fix.

Answers release searches, release lookups and cover downloads in the shape
that MusicBrainzInterface reads, from the manifest that quillbeat-demo wrote
(the albums as they truly are, with the year and genre that the song files
lack). Listens on 127.0.0.1; the port (0: any free one) is printed as the
first line on stdout once the server is ready.

At the end (SIGTERM) it prints on stderr the requests it answered by kind,
and per album asked: how many of each kind the busiest album and the
albums on average needed.

Usage: fix_bench_server.py MANIFEST COVER_JPEG [PORT]
"""
import json
import re
import signal
import sys
import threading
from collections import Counter
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import parse_qs, unquote, urlsplit

QUERY = re.compile(r'release:"((?:[^"\\]|\\.)*)"(?: AND artist:"((?:[^"\\]|\\.)*)")?')
LOOKUP = re.compile(r"^/ws/2/release/([0-9a-f-]{36})$")
COVER = re.compile(r"^/release/([0-9a-f-]{36})/front(-\d+)?$")


def unescape(term):
    return re.sub(r"\\(.)", r"\1", term or "")


def key(text):
    return " ".join(text.lower().split())


def release_id(index):
    return "00000000-0000-4000-8000-%012d" % index


class Catalogue:
    def __init__(self, manifest):
        self.albums = manifest["albums"]
        self.by_name = {(key(a["album"]), key(a["artist"])): i for i, a in enumerate(self.albums)}
        self.lock = threading.Lock()
        self.counts = {"search": 0, "lookup": 0, "cover": 0, "other": 0}
        # kind -> Counter of album index (None: no album of the catalogue)
        self.per_album = {kind: Counter() for kind in ("search", "lookup", "cover")}

    def count(self, what, album=None):
        with self.lock:
            self.counts[what] += 1
            if what in self.per_album:
                self.per_album[what][album] += 1

    def album_of_query(self, query):
        match = QUERY.search(query)
        if not match:
            return None
        return self.by_name.get((key(unescape(match.group(1))), key(unescape(match.group(2)))))

    def per_album_summary(self):
        parts = []
        for kind, counter in self.per_album.items():
            known = [n for album, n in counter.items() if album is not None]
            if known:
                parts.append("%s %.2f (max %d) over %d albums"
                             % (kind, sum(known) / len(known), max(known), len(known)))
            else:
                parts.append("%s none" % kind)
        return "per album asked: " + ", ".join(parts)

    def summary(self, index, album):
        return {
            "id": release_id(index),
            "title": album["album"],
            "status": "Official",
            "date": album["year"],
            "release-group": {
                "id": "10000000-0000-4000-8000-%012d" % index,
                "primary-type": "Album",
                "secondary-types": [],
                "first-release-date": album["year"],
            },
            "artist-credit": [{"name": album["artist"], "joinphrase": ""}],
        }

    def search(self, query):
        match = QUERY.search(query)
        if not match:
            return {"releases": [], "count": 0, "offset": 0}
        wanted = (key(unescape(match.group(1))), key(unescape(match.group(2))))
        releases = []
        for (name, artist), index in self.by_name.items():
            if name == wanted[0] and (not wanted[1] or artist == wanted[1]):
                releases.append(self.summary(index, self.albums[index]))
        return {"releases": releases, "count": len(releases), "offset": 0}

    def index_of(self, identifier):
        index = int(identifier.rsplit("-", 1)[1])
        return index if index < len(self.albums) else None

    def release(self, identifier):
        index = self.index_of(identifier)
        if index is None:
            return None
        album = self.albums[index]
        answer = self.summary(index, album)
        answer["genres"] = [{"name": album["genre"], "count": 4}]
        answer["cover-art-archive"] = {"front": True}
        answer["media"] = [{
            "position": 1,
            "format": "CD",
            "tracks": [
                {"position": n, "number": str(n), "title": title, "recording": {"title": title}}
                for n, title in enumerate(album["tracks"], start=1)
            ],
        }]
        return answer


def handler(catalogue, cover):
    class Handler(BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"
        # Headers and body leave in separate writes: without this, Nagle's
        # algorithm and the client's delayed ACK add ~40 ms to every answer.
        disable_nagle_algorithm = True

        def log_message(self, *args):
            pass

        def answer(self, status, body, kind):
            self.send_response(status)
            self.send_header("Content-Type", kind)
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

        def json(self, value):
            self.answer(200, json.dumps(value).encode("utf-8"), "application/json")

        def do_GET(self):
            parts = urlsplit(self.path)
            path = unquote(parts.path)
            if path == "/ws/2/release":
                query = parse_qs(parts.query).get("query", [""])[0]
                catalogue.count("search", catalogue.album_of_query(query))
                return self.json(catalogue.search(query))
            match = LOOKUP.match(path)
            if match:
                catalogue.count("lookup", catalogue.index_of(match.group(1)))
                release = catalogue.release(match.group(1))
                if release is None:
                    return self.answer(404, b'{"error": "Not Found"}', "application/json")
                return self.json(release)
            match = COVER.match(path)
            if match:
                catalogue.count("cover", catalogue.index_of(match.group(1)))
                return self.answer(200, cover, "image/jpeg")
            catalogue.count("other")
            self.answer(404, b"not here", "text/plain")

    return Handler


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    with open(sys.argv[1], encoding="utf-8") as f:
        catalogue = Catalogue(json.load(f))
    with open(sys.argv[2], "rb") as f:
        cover = f.read()
    port = int(sys.argv[3]) if len(sys.argv) > 3 else 0
    server = ThreadingHTTPServer(("127.0.0.1", port), handler(catalogue, cover))
    server.daemon_threads = True
    print(server.server_address[1], flush=True)

    def stop(*_):
        raise KeyboardInterrupt

    signal.signal(signal.SIGTERM, stop)
    try:
        server.serve_forever()
    except KeyboardInterrupt:
        pass
    finally:
        print("requests: " + ", ".join("%s %d" % kv for kv in catalogue.counts.items()),
              file=sys.stderr, flush=True)
        print(catalogue.per_album_summary(), file=sys.stderr, flush=True)


if __name__ == "__main__":
    main()
