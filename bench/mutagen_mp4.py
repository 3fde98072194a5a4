"""mutagen's side of the MP4 tag comparison. Same modes and output as
bench_tool_ours_mp4: mutagen_mp4.py read|write-same|write-grow FOLDER"""
import os
import sys
import time

from mutagen.mp4 import MP4


def main():
    mode, folder = sys.argv[1], sys.argv[2]
    paths = sorted(os.path.join(folder, n) for n in os.listdir(folder) if n.endswith(".m4a"))
    failures = 0
    checksum = 0
    start = time.perf_counter()
    for path in paths:
        try:
            audio = MP4(path)
            tags = audio.tags
            if mode == "read":
                checksum += len(tags.get("\xa9nam", [""])[0]) + len(tags.get("covr", []))
                checksum += len(tags.get("\xa9lyr", [""])[0]) + int(audio.info.length) + int(audio.info.bitrate)
                continue
            title = tags["\xa9nam"][0]
            if mode == "write-same":
                title = title.replace("title", "TITLE")
            else:
                title += "x" * 5000
            tags["\xa9nam"] = [title]
            audio.save()
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
