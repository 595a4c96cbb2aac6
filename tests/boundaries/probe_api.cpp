// Compiled as a logic library: the interfaces and the records are in reach.
#include "library/SnippetEntity.h"
#include "platform/api/Scheduler.h"
#include "platform/api/WindowFocus.h"

int boundaryProbeApi()
{
    return sizeof(FocusedWindow) > 0 ? 0 : 1;
}
