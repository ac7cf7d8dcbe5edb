// One lock guards all graphics state of the process: the window table, the GDI objects, DrawDib handles
// and GDI+ objects. Calls take it for their own work and never hold it while a window procedure runs,
// so that procedures may call back into any function.
#pragma once

#include <mutex>

namespace ondrel::platform::graphics {

std::mutex& GraphicsMutex();
using GraphicsLock = std::unique_lock<std::mutex>;

}  // namespace ondrel::platform::graphics
