#ifndef KRTES_TOOLS_KRTESCOMMANDS_H
#define KRTES_TOOLS_KRTESCOMMANDS_H

// The commands of the krtes program. Each lives in its own cmd_<name>.cpp,
// where Add<Name> declares its options on the shared command line and what
// runs it.

#include "KrTesCli.h"

namespace krtes {

void AddTin(Cli& cli);
void AddElev(Cli& cli);
void AddDrape(Cli& cli);
void AddFit(Cli& cli);
void AddCollide(Cli& cli);
void AddBoolean(Cli& cli);
void AddGrid(Cli& cli);
void AddVolume(Cli& cli);
void AddContour(Cli& cli);
void AddRender(Cli& cli);

}  // namespace krtes

#endif
