// TagLib's side of the MP4 tag comparison (benchmark only; never linked into
// the product). Same modes and output as bench_tool_ours_mp4.
//
//   bench_tool_taglib_mp4 read|write-same|write-grow FOLDER
#include <taglib/mp4coverart.h>
#include <taglib/mp4file.h>
#include <taglib/mp4item.h>
#include <taglib/mp4tag.h>
#include <taglib/tstring.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s read|write-same|write-grow FOLDER\n", argv[0]);
        return 2;
    }
    const std::string mode = argv[1];
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(argv[2])) {
        if (entry.path().extension() == ".m4a")
            paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());

    int failures = 0;
    long long checksum = 0;
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& path : paths) {
        TagLib::MP4::File file(path.c_str(), true, TagLib::AudioProperties::Average);
        TagLib::MP4::Tag* tag = file.tag();
        if (!file.isValid() || !tag) {
            ++failures;
            continue;
        }
        if (mode == "read") {
            checksum += tag->title().size() + tag->item("covr").toCoverArtList().size() +
                        tag->item("\251lyr").toStringList().toString().size();
            if (file.audioProperties())
                checksum += file.audioProperties()->lengthInSeconds() + file.audioProperties()->bitrate();
            continue;
        }
        std::string title = tag->title().to8Bit(true);
        if (mode == "write-same") {
            const auto at = title.find("title");
            if (at != std::string::npos)
                title.replace(at, 5, "TITLE");
        } else {
            title += std::string(5000, 'x');
        }
        tag->setTitle(TagLib::String(title, TagLib::String::UTF8));
        if (!file.save())
            ++failures;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (failures)
        std::fprintf(stderr, "%d of %zu files failed\n", failures, paths.size());
    std::printf("%zu %.6f\n", paths.size(), seconds);
    return failures || checksum < 0 ? 1 : 0;
}
