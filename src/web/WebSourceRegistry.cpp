#include "web/WebSourceRegistry.h"

#include "web/DiscogsInterface.h"
#include "web/LeosLyricsInterface.h"
#include "web/LrclibInterface.h"
#include "web/LyredInterface.h"
#include "web/MusicBrainzInterface.h"
#include "web/SeekALyricInterface.h"
#include "web/TrackTypeInterface.h"
#include "web/WebDBInterface.h"
#include "web/WendmarkInterface.h"
#include "web/WikipediaInterface.h"

// Each source adds its header above and one line below, e.g.
//   WebDBInterface::registerInterfaceClass<WikipediaInterface>();
void registerBuiltInWebSources()
{
    WebDBInterface::registerInterfaceClass<WikipediaInterface>();
    WebDBInterface::registerInterfaceClass<DiscogsInterface>();
    WebDBInterface::registerInterfaceClass<WendmarkInterface>();
    WebDBInterface::registerInterfaceClass<TrackTypeInterface>();
    WebDBInterface::registerInterfaceClass<SeekALyricInterface>();
    WebDBInterface::registerInterfaceClass<LyredInterface>();
    WebDBInterface::registerInterfaceClass<LeosLyricsInterface>();
    WebDBInterface::registerInterfaceClass<MusicBrainzInterface>();
    WebDBInterface::registerInterfaceClass<LrclibInterface>();
}
