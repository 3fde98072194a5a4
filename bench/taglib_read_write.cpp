// TagLib's side of the MP3 tag comparison (benchmark only; never linked into
// the product). Same modes and output as bench_tool_ours.
//
//   bench_tool_taglib read|write-same|write-grow FOLDER
#include "TagBenchLoop.h"

#include <taglib/attachedpictureframe.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/tstring.h>

int main(int argc, char** argv)
{
    return TagBenchLoop::run(
        argc, argv, ".mp3", [](const std::string& path, const std::string& mode, long long& checksum) {
            TagLib::MPEG::File file(path.c_str(), true, TagLib::AudioProperties::Average);
            if (!file.isValid() || !file.hasID3v2Tag())
                return false;
            TagLib::ID3v2::Tag* tag = file.ID3v2Tag();
            if (mode == "read") {
                checksum += tag->title().size() + tag->frameListMap()["APIC"].size() +
                            tag->frameListMap()["USLT"].size();
                if (file.audioProperties())
                    checksum += file.audioProperties()->lengthInSeconds();
                return true;
            }
            const std::string title = TagBenchLoop::changedTitle(mode, tag->title().to8Bit(true));
            tag->setTitle(TagLib::String(title, TagLib::String::UTF8));
            return file.save(TagLib::MPEG::File::AllTags, TagLib::File::StripNone, TagLib::ID3v2::v3,
                             TagLib::File::Duplicate);
        });
}
