#pragma once

#include <QtGlobal>

namespace tav {

// The dynamic loader reads each library's symbol and relocation tables (the
// first, read-only part of the file) while the program starts, and then
// seldom again: over the media engine's two hundred or so libraries they are
// about 20 MB of the process's resident memory at rest. This unmaps those
// pages from the process. They stay in the system's file cache, so the rare
// later reader (a function bound at its first call, a library loaded later)
// maps them back from there at the cost of a minor page fault; nothing is
// lost, as those pages are never written. A library whose read-only part was
// written while loading (text relocations) is left alone.
// Returns the bytes of address space given back.
qint64 releaseLoaderTables();

} // namespace tav
