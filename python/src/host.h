// The module as a host of the core. Started once when `ondrel` is imported: the files the core reads
// beside its host (the dictionary, the settings, the preferences, the texts, the tag star) are those
// beside the module; the workstation's classes and the component's are registered and GDI+ is started.
// One component serves every viewport, so that viewports can work together (reference lines, series
// synchronisation), as in a workstation.
//
// The core takes no locks of its own: its calls must not overlap. Every call into it holds the core's
// lock, with the GIL released, so that other Python threads run meanwhile and a second thread's call
// waits for the first.
#pragma once

#include <pybind11/pybind11.h>

#include <mutex>
#include <string>

#include "ondrel/ondrel.h"

namespace ondrel::python {

class Viewport;

// Starts the host; `moduleFile` is the extension module's file, which stands for the host executable.
// Stopped by StopHost, which the module registers with atexit. Throws CoreError when a class can't be
// registered or GDI+ can't start.
void StartHost(const std::string& moduleFile);
// Closes the viewports still open, lets the component go and stops GDI+, before the interpreter and
// the libraries' objects go.
void StopHost();

// The shared component, made at first use. Throws CoreError when it can't be made or the host has
// stopped.
IOndrel& Component();
// The shared component, or null when none was made or the host has stopped.
IOndrel* ComponentIfMade();

// Viewports register while their window is open, so that StopHost can close them.
void AddViewport(Viewport* viewport);
void RemoveViewport(Viewport* viewport);

std::mutex& CoreLock();

// Runs `work` with the GIL released and the core's lock held, and returns what it returns.
template <class Work>
auto InCore(Work&& work) -> decltype(work()) {
  const pybind11::gil_scoped_release released;
  const std::lock_guard<std::mutex> guard(CoreLock());
  return work();
}

}  // namespace ondrel::python
