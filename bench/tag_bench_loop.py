"""The timed loop shared by mutagen's sides of the tag comparisons:

    SCRIPT read|write-same|write-grow FOLDER

runs per_file(path, mode) over the folder's files with the given extension,
in name order (a failure is counted and the loop goes on, like the other
sides), and prints "<files> <seconds>" like our own tool. per_file answers a
number that goes into a checksum, so that reads cannot be skipped."""
import os
import sys
import time


def changed_title(mode, title):
    """write-same toggles the case of "title" (same length); write-grow adds 5000 characters."""
    if mode != "write-same":
        return title + "x" * 5000
    return title.replace("title", "TITLE") if "title" in title else title.replace("TITLE", "title")


def run(extension, per_file):
    mode, folder = sys.argv[1], sys.argv[2]
    paths = sorted(os.path.join(folder, n) for n in os.listdir(folder) if n.endswith(extension))
    failures = 0
    checksum = 0
    start = time.perf_counter()
    for path in paths:
        try:
            checksum += per_file(path, mode)
        except Exception as error:
            if failures == 0:
                print(f"{path}: {error}", file=sys.stderr)
            failures += 1
    seconds = time.perf_counter() - start
    if failures:
        print(f"{failures} of {len(paths)} files failed", file=sys.stderr)
    print(f"{len(paths)} {seconds:.6f}")
    return 1 if failures or checksum < 0 else 0
