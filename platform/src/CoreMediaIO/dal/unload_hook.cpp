// The probe hook that lets a test start the DAL system over.
#include "CoreMediaIO/dal/dal_system.h"

#include <zav_platform/probe.h>

namespace zav_platform::probe {

void unload_plug_ins() {
    cmio::dal_system_t::instance().unload(true);
}

}  // namespace zav_platform::probe
