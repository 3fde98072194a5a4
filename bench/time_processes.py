"""Times commands over files as whole processes, for bench/compare-reading:

    time_processes.py RUNS BATCH FILE_LIST -- COMMAND... [-- COMMAND...]

runs each COMMAND with the files named in FILE_LIST (one a line) as
arguments, one process per BATCH files (one process for all when BATCH is 0),
standard output discarded: each once untimed, then RUNS times, the commands
taking turns so that a busy machine disturbs them alike. Prints one line per
command: its best wall time and its best CPU time (user and system time of
its processes) in seconds."""
import resource
import subprocess
import sys
import time


def main():
    runs, batch = int(sys.argv[1]), int(sys.argv[2])
    with open(sys.argv[3], encoding="utf-8") as listing:
        files = [line.rstrip("\n") for line in listing if line.strip()]
    commands, current = [], None
    for argument in sys.argv[4:]:
        if argument == "--":
            current = []
            commands.append(current)
        else:
            current.append(argument)
    groups = [files] if batch <= 0 else [files[i:i + batch] for i in range(0, len(files), batch)]

    def once(command):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        start = time.perf_counter()
        for group in groups:
            subprocess.run(command + group, stdout=subprocess.DEVNULL, check=False)
        wall = time.perf_counter() - start
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        return wall, (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)

    for command in commands:
        once(command)
    results = [[] for _ in commands]
    for _ in range(runs):
        for index, command in enumerate(commands):
            results[index].append(once(command))
    for timings in results:
        print(min(t[0] for t in timings), min(t[1] for t in timings))


if __name__ == "__main__":
    main()
