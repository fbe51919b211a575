// The inspection hook that lets a test start the DAL system over.
#include "CoreMediaIO/dal/dal_system.h"

#include <zav_platform/inspection.h>

namespace zav_platform::inspection {

void unload_plug_ins() {
    cmio::dal_system_t::instance().unload(true);
}

}  // namespace zav_platform::inspection
