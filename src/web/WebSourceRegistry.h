#pragma once

// Registers every web source that ships with the program with
// WebDBInterface::registerInterfaceClass(). Called once, on the first
// WebDBInterface::interfaceWithName(). Registration is explicit rather than
// done by static initialisers, which the linker drops from a static library
// when nothing else refers to their object file.
void registerBuiltInWebSources();
