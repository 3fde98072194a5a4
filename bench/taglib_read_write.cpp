// TagLib's side of the MP3 tag comparison (benchmark only; never linked into
// the product). Same modes and output as bench_tool_ours.
//
//   bench_tool_taglib read|write-same|write-grow FOLDER
#include <taglib/attachedpictureframe.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
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
        if (entry.path().extension() == ".mp3")
            paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());

    int failures = 0;
    long long checksum = 0;
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& path : paths) {
        TagLib::MPEG::File file(path.c_str(), true, TagLib::AudioProperties::Average);
        if (!file.isValid() || !file.hasID3v2Tag()) {
            ++failures;
            continue;
        }
        TagLib::ID3v2::Tag* tag = file.ID3v2Tag();
        if (mode == "read") {
            checksum +=
                tag->title().size() + tag->frameListMap()["APIC"].size() + tag->frameListMap()["USLT"].size();
            if (file.audioProperties())
                checksum += file.audioProperties()->lengthInSeconds();
            continue;
        }
        std::string title = tag->title().to8Bit(true);
        if (mode == "write-same") {
            // Toggles, so that every run changes the title.
            const auto lower = title.find("title");
            const auto upper = title.find("TITLE");
            if (lower != std::string::npos)
                title.replace(lower, 5, "TITLE");
            else if (upper != std::string::npos)
                title.replace(upper, 5, "title");
        } else {
            title += std::string(5000, 'x');
        }
        tag->setTitle(TagLib::String(title, TagLib::String::UTF8));
        if (!file.save(TagLib::MPEG::File::AllTags, TagLib::File::StripNone, TagLib::ID3v2::v3,
                       TagLib::File::Duplicate))
            ++failures;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (failures)
        std::fprintf(stderr, "%d of %zu files failed\n", failures, paths.size());
    std::printf("%zu %.6f\n", paths.size(), seconds);
    return failures || checksum < 0 ? 1 : 0;
}
