#pragma once

// The timed loop shared by the peer programs of the tag comparisons (no Qt,
// so that they stay free of our code):
//
//   PROGRAM read|write-same|write-grow FOLDER
//
// runs `perFile(path, mode, checksum)` over the folder's files with the given
// extension, in name order, and prints "<files> <seconds>" like our own tool.
// write-same toggles the case of "title" in the title (same length);
// write-grow adds 5000 characters.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace TagBenchLoop {

inline std::string changedTitle(const std::string& mode, std::string title)
{
    if (mode != "write-same")
        return title + std::string(5000, 'x');
    const auto lower = title.find("title");
    const auto upper = title.find("TITLE");
    if (lower != std::string::npos)
        title.replace(lower, 5, "TITLE");
    else if (upper != std::string::npos)
        title.replace(upper, 5, "title");
    return title;
}

template <typename PerFile> int run(int argc, char** argv, const char* extension, PerFile perFile)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s read|write-same|write-grow FOLDER\n", argv[0]);
        return 2;
    }
    const std::string mode = argv[1];
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(argv[2]))
        if (entry.path().extension() == extension)
            paths.push_back(entry.path().string());
    std::sort(paths.begin(), paths.end());

    int failures = 0;
    long long checksum = 0;
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& path : paths)
        if (!perFile(path, mode, checksum))
            ++failures;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (failures)
        std::fprintf(stderr, "%d of %zu files failed\n", failures, paths.size());
    std::printf("%zu %.6f\n", paths.size(), seconds);
    return failures || checksum < 0 ? 1 : 0;
}

} // namespace TagBenchLoop
