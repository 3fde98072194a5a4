#!/usr/bin/env python3
"""Builds the album digest seed "wmdigest.gz": a gzip-compressed XML property
list whose root dictionary maps "artist - album" in simplified form to the
album's cover picture {"art_file": file name, "art_x": width in pixels}.
The albums are our own examples; a digest server of the user's own replaces
the seed with a real digest. Each entry also keeps its artist and album as
written, so that tests can check the keys against the program's own
simplification.

usage: make-wmdigest.py OUTPUT
"""
import gzip
import os
import plistlib
import re
import sys

# artist, album, picture file, width
ALBUMS = [
    ("The Lantern Choir", "Harbour Lights", "lantern-choir-harbour-lights.jpg", 600),
    ("Mira Okonkwo", "Copper Weather", "mira-okonkwo-copper-weather.jpg", 1000),
    ("Static Orchard", "Pale Engines", "static-orchard-pale-engines.jpg", 500),
    ("Juniper Vale", "Night Ferry", "juniper-vale-night-ferry.jpg", 300),
    ("Tomas Relling", "Quiet Arithmetic", "tomas-relling-quiet-arithmetic.jpg", 1200),
    ("Various", "Summer Signals", "various-summer-signals.jpg", 700),
    ("", "Rooftop Radio Sessions", "rooftop-radio-sessions.jpg", 640),
]

MINOR_WORDS = {"a", "an", "and", "of", "the", "is"}


def simplified(text):
    """The program's key for plain ASCII names without punctuation: minor
    words dropped, lower case, letters and digits only."""
    words = [w for w in text.lower().split() if w not in MINOR_WORDS]
    return re.sub(r"[^a-z0-9]", "", "".join(words))


def main(argv):
    if len(argv) != 2:
        sys.exit(__doc__)
    digest = {}
    for artist, album, art_file, width in ALBUMS:
        key = simplified(f"{artist} - {album}" if artist else album)
        if key in digest:
            sys.exit(f"make-wmdigest: key {key} given twice")
        digest[key] = {"art_file": art_file, "art_x": width, "artist": artist, "album": album}
    data = gzip.compress(plistlib.dumps(digest, fmt=plistlib.FMT_XML, sort_keys=True), mtime=0)
    temporary = argv[1] + ".tmp"
    with open(temporary, "wb") as handle:
        handle.write(data)
    os.replace(temporary, argv[1])


if __name__ == "__main__":
    main(sys.argv)
