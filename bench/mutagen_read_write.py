"""mutagen's side of the MP3 tag comparison. Same modes and output as
bench_tool_ours: mutagen_read_write.py read|write-same|write-grow FOLDER"""
import sys

from mutagen.id3 import TIT2
from mutagen.mp3 import MP3

from tag_bench_loop import changed_title, run


def per_file(path, mode):
    audio = MP3(path)
    tags = audio.tags
    if mode == "read":
        return (len(str(tags.get("TIT2", ""))) + len(tags.getall("APIC")) + len(tags.getall("USLT"))
                + int(audio.info.length))
    tags.setall("TIT2", [TIT2(encoding=0, text=[changed_title(mode, str(tags["TIT2"]))])])
    audio.save(v2_version=3, v1=1)
    return 0


if __name__ == "__main__":
    sys.exit(run(".mp3", per_file))
