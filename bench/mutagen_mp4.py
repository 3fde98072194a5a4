"""mutagen's side of the MP4 tag comparison. Same modes and output as
bench_tool_ours: mutagen_mp4.py read|write-same|write-grow FOLDER"""
import sys

from mutagen.mp4 import MP4

from tag_bench_loop import changed_title, run


def per_file(path, mode):
    audio = MP4(path)
    tags = audio.tags
    if mode == "read":
        return (len(tags.get("\xa9nam", [""])[0]) + len(tags.get("covr", [])) + len(tags.get("\xa9lyr", [""])[0])
                + int(audio.info.length) + int(audio.info.bitrate))
    tags["\xa9nam"] = [changed_title(mode, tags["\xa9nam"][0])]
    audio.save()
    return 0


if __name__ == "__main__":
    sys.exit(run(".m4a", per_file))
