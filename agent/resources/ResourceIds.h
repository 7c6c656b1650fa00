// ResourceIds.h: the numbers by which the program finds its resources; read by the resource compiler as well.
#pragma once

#define LINKWELL_ICON 107
#define LINKWELL_ACCELERATORS 128
#define LINKWELL_COMMAND_EXIT 8
