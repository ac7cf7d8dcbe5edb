// The derived series that shows a volume: one RGB image of the view, in the study of its source.
#pragma once

#include "ondrel/platform/com.h"
#include "ondrel/workstation.h"

namespace volume3d {

inline constexpr LONG kVolumeSourceRole = 1;
inline constexpr LONG kVolumeDerivedRole = 2;
inline constexpr SHORT kVolumeSeriesNumber = 3001;

// Gives the series of `source` VolumeType 1 and makes the derived series: a new UID, number 3001, the
// source's modality, description "3D", the time now, VolumeType 2, added to the source's study when it
// has one; and its image: SOP Instance UID the series' with ".1", Secondary Capture, explicit VR little
// endian, instance number 1, image type "DERIVED\SECONDARY\VOLUME", `size` x `size` 8-bit RGB pixels
// shown as they are (window 256, level 128). No pixel spacing: a projection of depth has no one scale.
// Throws MyException "Failed to make the volume series. HRESULT=%0X" when a workstation object can't
// be made or set.
ondrel::platform::ComPtr<ISeriesInfoNW> MakeVolumeSeries(IImageInfoNW* source, USHORT size);

}  // namespace volume3d
