// Drive slots until disk images can be loaded: every load fails, so the monitor's LD
// says "Loading ERROR".
#include "common/host_services.h"
#include "common/xtools/xtools.h"

bool PAL_LoadDisk(const char*, int) {
    XT_NOT_IMPLEMENTED();
    return false;
}

void PAL_EjectDisk(int) {
    XT_NOT_IMPLEMENTED();
}
