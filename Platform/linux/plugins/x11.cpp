// What an X server tells of screens and windows, as the module Contents/PlugIns/x11.so.
#include <xcb/randr.h>
#include <xcb/xcb.h>

#include "Platform/linux/PlugIn.h"
