// TagLib's side of bench/compare-reading (benchmark only; never linked into
// the product): reads the files named on the command line as one process,
// the way `quillbeat-cli tags --json FILE...` is run, and prints one line
// per file with every tag value, the audio properties and each picture's
// MIME type and size in bytes.
//
//   bench_tool_taglib_tags FILE...
#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4coverart.h>
#include <taglib/mp4file.h>
#include <taglib/mp4item.h>
#include <taglib/mp4tag.h>
#include <taglib/mpegfile.h>
#include <taglib/tag.h>
#include <taglib/tpropertymap.h>
#include <taglib/tstring.h>
#include <taglib/unsynchronizedlyricsframe.h>

#include <cstdio>
#include <string>

namespace {

std::string text(const TagLib::String& value)
{
    return value.to8Bit(true);
}

void printPictures(const TagLib::File* file, std::string& line)
{
    line += " pictures:";
    if (const auto* mpeg = dynamic_cast<const TagLib::MPEG::File*>(file)) {
        auto* id3 = const_cast<TagLib::MPEG::File*>(mpeg)->ID3v2Tag();
        if (!id3)
            return;
        for (TagLib::ID3v2::Frame* frame : id3->frameListMap()["APIC"]) {
            const auto* picture = dynamic_cast<TagLib::ID3v2::AttachedPictureFrame*>(frame);
            if (picture)
                line += " " + text(picture->mimeType()) + "/" + std::to_string(picture->picture().size()) +
                        "/" + std::to_string(int(picture->type()));
        }
    } else if (const auto* mp4 = dynamic_cast<const TagLib::MP4::File*>(file)) {
        auto* tag = const_cast<TagLib::MP4::File*>(mp4)->tag();
        if (!tag || !tag->contains("covr"))
            return;
        for (const TagLib::MP4::CoverArt& cover : tag->item("covr").toCoverArtList())
            line += " " + std::to_string(int(cover.format())) + "/" + std::to_string(cover.data().size());
    }
}

} // namespace

int main(int argc, char** argv)
{
    int failures = 0;
    for (int i = 1; i < argc; ++i) {
        TagLib::FileRef ref(argv[i], true, TagLib::AudioProperties::Average);
        if (ref.isNull() || !ref.tag()) {
            std::printf("%s: unreadable\n", argv[i]);
            ++failures;
            continue;
        }
        std::string line = argv[i];
        // Every value the tag holds (lyrics included), as TagLib names them.
        const TagLib::PropertyMap properties = ref.file()->properties();
        for (const auto& [key, values] : properties)
            line += " " + text(key) + "=" + text(values.toString("/"));
        printPictures(ref.file(), line);
        if (const TagLib::AudioProperties* audio = ref.audioProperties())
            line += " length=" + std::to_string(audio->lengthInMilliseconds()) +
                    " bitrate=" + std::to_string(audio->bitrate()) +
                    " samplerate=" + std::to_string(audio->sampleRate());
        line += '\n';
        std::fwrite(line.data(), 1, line.size(), stdout);
    }
    return failures ? 1 : 0;
}
