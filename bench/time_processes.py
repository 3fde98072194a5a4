"""Times a command over files as whole processes, for bench/compare-reading:

    time_processes.py RUNS BATCH COMMAND... -- FILE...

runs COMMAND with the files as arguments, one process per BATCH files (one
process for all when BATCH is 0), standard output discarded; once untimed,
then RUNS times. Prints the best wall time and the best CPU time (user and
system time of the processes, which a busy machine disturbs less) in seconds."""
import resource
import subprocess
import sys
import time


def main():
    runs, batch = int(sys.argv[1]), int(sys.argv[2])
    separator = sys.argv.index("--")
    command, files = sys.argv[3:separator], sys.argv[separator + 1:]
    groups = [files] if batch <= 0 else [files[i:i + batch] for i in range(0, len(files), batch)]

    def once():
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        start = time.perf_counter()
        for group in groups:
            subprocess.run(command + group, stdout=subprocess.DEVNULL, check=False)
        wall = time.perf_counter() - start
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        return wall, (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)

    once()
    results = [once() for _ in range(runs)]
    print(min(r[0] for r in results), min(r[1] for r in results))


if __name__ == "__main__":
    main()
