// Volume mode: the client of the outside volume server (Ondrel3D, ondrel/volume3d.h), which computes,
// holds and draws the volume. This side creates the server, forwards the host's calls to it in a fixed
// order, and turns every failed call into one kind of failure: the server's own error text when it
// leaves one, else the operation's fixed message with the HRESULT, written to the trace at level 1 and
// thrown as MyException "%s File=VolumeTool, Line=%d".
//
// One server for the process, null outside volume work; without it every operation but the generation
// is a quiet no-op.
#pragma once

#include "foundation/byte_block.h"
#include "ondrel/platform/windows.h"
#include "ondrel/workstation.h"
#include "sources/image_info_strategy.h"

struct IOndrel3D;

namespace spatial {

inline constexpr LONG kVolumeDerivedRole = 2;

// The process's server, or null.
IOndrel3D* VolumeServer();

// Ends a server that runs (as EndVolumeServer), creates a new one, hands it the trace's file name and
// level, and has it build the volume series of the stack `image` belongs to, handed out in `out`.
void GenerateVolumeSeries(IImageInfoNW* image, ISeriesInfoNW** out, LONG minThreshold, LONG maxThreshold);
// Opens the server's view in the window, in the user's userVolumeColor: the server's answer, false
// without a server. `success` may be null; the server then answers for it.
void StartVolumeMode(HWND window, VARIANT_BOOL* success);
// Closes the server's view and lets the server go; it goes also when closing fails, before the failure
// is thrown. Nothing without a server.
void EndVolumeServer();
// Lets the server go without a call: the process's or a component's end.
void ReleaseVolumeServer();
// The server's mode into `mode`; `mode` stays as it is without a server.
void GetVolumeMode(LONG* mode);
// Hands the thresholds and step on as they come, unchecked.
void ApplyVolumeThreshold(IImageInfoNW* image, HWND window, LONG minThreshold, LONG maxThreshold, SHORT step);
// The pixels of a derived volume image, from the server: empty without a server.
ByteBlock GenerateVolumePixels(ImageInfoStrategy& derived);
// Has the server draw its view.
void DrawVolume();

// The mouse on a window whose image is `image` (null for none): each is processed only for an image of
// the derived volume series (VolumeType exactly 2) in a live window with a server; each returns whether
// it was (the release says so in `processed`, set before its failure is thrown). The pointer's position
// is the server's to read. A press starts the server's drag, a move turns its view and has it drawn
// when the server asks, a release ends the drag.
bool VolumeButtonDown(ImageInfoStrategy* image, HWND window);
bool VolumeMouseMove(ImageInfoStrategy* image, HWND window);
void VolumeButtonUp(ImageInfoStrategy* image, HWND window, bool& processed);

}  // namespace spatial
