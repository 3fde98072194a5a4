"""mutagen's side of the MP3 tag comparison. Same modes and output as
bench_tool_ours: mutagen_read_write.py read|write-same|write-grow FOLDER"""
import os
import sys
import time

from mutagen.id3 import TIT2
from mutagen.mp3 import MP3


def main():
    mode, folder = sys.argv[1], sys.argv[2]
    paths = sorted(os.path.join(folder, n) for n in os.listdir(folder) if n.endswith(".mp3"))
    failures = 0
    checksum = 0
    start = time.perf_counter()
    for path in paths:
        try:
            audio = MP3(path)
            tags = audio.tags
            if mode == "read":
                checksum += len(str(tags.get("TIT2", ""))) + len(tags.getall("APIC")) + len(tags.getall("USLT"))
                checksum += int(audio.info.length)
                continue
            title = str(tags["TIT2"])
            if mode == "write-same":  # toggles, so that every run changes the title
                title = title.replace("title", "TITLE") if "title" in title else title.replace("TITLE", "title")
            else:
                title += "x" * 5000
            tags.setall("TIT2", [TIT2(encoding=0, text=[title])])
            audio.save(v2_version=3, v1=1)
        except Exception as error:  # count and go on, like the other sides
            if failures == 0:
                print(f"{path}: {error}", file=sys.stderr)
            failures += 1
    seconds = time.perf_counter() - start
    if failures:
        print(f"{failures} of {len(paths)} files failed", file=sys.stderr)
    print(f"{len(paths)} {seconds:.6f}")
    return 1 if failures or checksum < 0 else 0


if __name__ == "__main__":
    sys.exit(main())
