// TagLib's side of the MP4 tag comparison (benchmark only; never linked into
// the product). Same modes and output as bench_tool_ours.
//
//   bench_tool_taglib_mp4 read|write-same|write-grow FOLDER
#include "TagBenchLoop.h"

#include <taglib/mp4coverart.h>
#include <taglib/mp4file.h>
#include <taglib/mp4item.h>
#include <taglib/mp4tag.h>
#include <taglib/tstring.h>

int main(int argc, char** argv)
{
    return TagBenchLoop::run(
        argc, argv, ".m4a", [](const std::string& path, const std::string& mode, long long& checksum) {
            TagLib::MP4::File file(path.c_str(), true, TagLib::AudioProperties::Average);
            TagLib::MP4::Tag* tag = file.tag();
            if (!file.isValid() || !tag)
                return false;
            if (mode == "read") {
                checksum += tag->title().size() + tag->item("covr").toCoverArtList().size() +
                            tag->item("\251lyr").toStringList().toString().size();
                if (file.audioProperties())
                    checksum += file.audioProperties()->lengthInSeconds() + file.audioProperties()->bitrate();
                return true;
            }
            const std::string title = TagBenchLoop::changedTitle(mode, tag->title().to8Bit(true));
            tag->setTitle(TagLib::String(title, TagLib::String::UTF8));
            return file.save();
        });
}
