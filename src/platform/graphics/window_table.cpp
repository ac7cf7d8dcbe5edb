#include "window_table.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "graphics_lock.h"

namespace ondrel::platform::graphics {

std::mutex& GraphicsMutex() {
  // Never destroyed, so that objects freed by static destructors at exit still find it.
  static auto* const mutex = new std::mutex();
  return *mutex;
}

namespace {

std::uint32_t IdOf(HWND handle) { return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(handle)); }

// Paints `handle`'s visible children over `out`, whose origin is the client origin of `handle` shifted
// by (dx, dy), clipped to `clip` (in out's coordinates).
void PaintChildren(WindowTable& table, const Window& window, OwnedSurface& out, int dx, int dy, Box clip) {
  for (const HWND childHandle : window.children) {
    const Window* child = table.Find(childHandle);
    if (child == nullptr || (child->style & WS_VISIBLE) == 0) continue;
    const int left = dx + child->x;
    const int top = dy + child->y;
    const Box box{std::max(clip.left, left), std::max(clip.top, top),
                  std::min(clip.right, left + child->pixels.surface.width),
                  std::min(clip.bottom, top + child->pixels.surface.height)};
    if (box.left >= box.right || box.top >= box.bottom) continue;
    for (int y = box.top; y < box.bottom; ++y) {
      std::memcpy(out.surface.Row(y) + 4 * box.left, child->pixels.surface.Row(y - top) + 4 * (box.left - left),
                  static_cast<std::size_t>(box.right - box.left) * 4);
    }
    PaintChildren(table, *child, out, left, top, box);
  }
}

}  // namespace

WindowTable& WindowTable::Get() {
  static auto* const table = new WindowTable();
  return *table;
}

WindowTable::WindowTable() {
  auto desktop = std::make_unique<Window>();
  desktop->windowClass = WindowClass::Desktop;
  desktop->style = WS_VISIBLE;
  desktop->procedure = DefWindowProcA;
  desktop_ = Add(std::move(desktop));
}

HWND WindowTable::Add(std::unique_ptr<Window> window) {
  try {
    while (next_ == 0 || windows_.count(next_) != 0) ++next_;
    const std::uint32_t id = next_++;
    const auto handle = reinterpret_cast<HWND>(static_cast<std::uintptr_t>(id));
    if (window->parent != nullptr) Find(window->parent)->children.push_back(handle);
    windows_.emplace(id, std::move(window));
    return handle;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

Window* WindowTable::Find(HWND handle) {
  if (handle == nullptr) return nullptr;
  const auto it = windows_.find(IdOf(handle));
  return it == windows_.end() ? nullptr : it->second.get();
}

void WindowTable::Remove(HWND handle) {
  const auto it = windows_.find(IdOf(handle));
  if (it == windows_.end()) return;
  if (Window* parent = Find(it->second->parent)) {
    auto& siblings = parent->children;
    siblings.erase(std::remove(siblings.begin(), siblings.end(), handle), siblings.end());
  }
  if (focus == handle) focus = nullptr;
  windows_.erase(it);
}

POINT WindowTable::ScreenOrigin(HWND handle) {
  POINT origin{0, 0};
  for (Window* window = Find(handle); window != nullptr; window = Find(window->parent)) {
    origin.x += window->x;
    origin.y += window->y;
  }
  return origin;
}

Window* FindWindowOrFail(HWND handle) {
  Window* window = WindowTable::Get().Find(handle);
  if (window == nullptr) SetLastError(ERROR_INVALID_WINDOW_HANDLE);
  return window;
}

bool IsSameOrDescendant(HWND handle, HWND ancestor) {
  WindowTable& table = WindowTable::Get();
  for (HWND h = handle; h != nullptr;) {
    if (h == ancestor) return true;
    const Window* window = table.Find(h);
    h = window == nullptr ? nullptr : window->parent;
  }
  return false;
}

bool HasVisibleChildren(const Window& window) {
  WindowTable& table = WindowTable::Get();
  return std::any_of(window.children.begin(), window.children.end(), [&](HWND child) {
    const Window* w = table.Find(child);
    return w != nullptr && (w->style & WS_VISIBLE) != 0;
  });
}

void ComposeWindow(HWND handle, OwnedSurface& out) {
  WindowTable& table = WindowTable::Get();
  const Window* window = table.Find(handle);
  const Surface& own = window->pixels.surface;
  out.Allocate(own.width, own.height);
  if (own.width > 0 && own.height > 0) std::memcpy(out.memory.data(), own.top, window->pixels.memory.size());
  PaintChildren(table, *window, out, 0, 0, Box{0, 0, own.width, own.height});
}

}  // namespace ondrel::platform::graphics
