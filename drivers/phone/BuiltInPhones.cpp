// SPDX-License-Identifier: Apache-2.0
#include "drivers/phone/PhoneDescription.h"

namespace velmora::drivers::phone {

namespace {

/// The front sensor appears as a wide-angle camera and as the TrueDepth camera, because a search for the wide angle at
/// the front finds no TrueDepth camera.
constexpr const char* tripleText = R"json({
  "systemVersion": "17.2",
  "formats": {
    "photo12": { "size": [4032, 3024], "frameRates": [{ "minimum": 1, "maximum": 30 }],
                 "exposure": ["1/8000", "1/1"], "iso": [32, 3200], "zoom": 16,
                 "highResolutionStill": [4032, 3024] },
    "photo12depth": { "size": [4032, 3024], "frameRates": [{ "minimum": 1, "maximum": 30 }],
                 "exposure": ["1/8000", "1/1"], "iso": [32, 3200], "zoom": 16,
                 "highResolutionStill": [4032, 3024], "depth": [[320, 240], [768, 576]] },
    "video1080": { "size": [1920, 1080],
                 "frameRates": [{ "minimum": 1, "maximum": 30 }, { "minimum": 1, "maximum": 60 }],
                 "exposure": ["1/8000", "1/3"], "iso": [32, 3200], "zoom": 16,
                 "highResolutionStill": [3840, 2160] },
    "fast1080": { "size": [1920, 1080],
                 "frameRates": [{ "minimum": 1, "maximum": 240, "shortestFrame": "1/240" }],
                 "exposure": ["1/8000", "1/240"], "iso": [32, 1600], "zoom": 6,
                 "highResolutionStill": [1920, 1080] },
    "video4k": { "size": [3840, 2160], "frameRates": [{ "minimum": 1, "maximum": 60 }],
                 "exposure": ["1/8000", "1/3"], "iso": [32, 3200], "zoom": 10,
                 "highResolutionStill": [3840, 2160] },
    "front12": { "size": [4032, 3024], "frameRates": [{ "minimum": 1, "maximum": 30 }],
                 "exposure": ["1/8000", "1/1"], "iso": [24, 2300], "zoom": 5,
                 "highResolutionStill": [4032, 3024] },
    "front12depth": { "size": [4032, 3024], "frameRates": [{ "minimum": 1, "maximum": 30 }],
                 "exposure": ["1/8000", "1/1"], "iso": [24, 2300], "zoom": 5,
                 "highResolutionStill": [4032, 3024], "depth": [[640, 480]] },
    "front1080": { "size": [1920, 1080], "frameRates": [{ "minimum": 1, "maximum": 60 }],
                 "exposure": ["1/8000", "1/3"], "iso": [24, 2300], "zoom": 5,
                 "highResolutionStill": [3840, 2160] }
  },
  "cameras": [
    { "id": "back-wide", "type": "wide", "position": "back", "aperture": 1.8,
      "formats": ["video1080", "fast1080", "video4k", "photo12"],
      "presets": { "AVCaptureSessionPresetPhoto": "photo12", "AVCaptureSessionPresetHigh": "video1080" },
      "rawFormats": ["bgg4"], "distortionCorrection": false },
    { "id": "back-tele", "type": "tele", "position": "back", "aperture": 2.8,
      "formats": ["video1080", "video4k", "photo12"],
      "presets": { "AVCaptureSessionPresetPhoto": "photo12", "AVCaptureSessionPresetHigh": "video1080" },
      "rawFormats": ["bgg4"] },
    { "id": "back-ultrawide", "type": "ultrawide", "position": "back", "aperture": 2.2,
      "formats": ["video1080", "video4k", "photo12"], "focusPoint": false, "focusModes": [0],
      "presets": { "AVCaptureSessionPresetPhoto": "photo12", "AVCaptureSessionPresetHigh": "video1080" },
      "rawFormats": ["bgg4"], "distortionCorrection": true, "barrel": 0.12 },
    { "id": "back-dual", "type": "dual", "position": "back", "of": ["back-wide", "back-tele"],
      "formats": ["video1080", "video4k", "photo12", "photo12depth"], "matte": true,
      "presets": { "AVCaptureSessionPresetPhoto": "photo12", "AVCaptureSessionPresetHigh": "video1080" } },
    { "id": "back-dualwide", "type": "dualwide", "position": "back", "of": ["back-ultrawide", "back-wide"],
      "formats": ["video1080", "video4k", "photo12", "photo12depth"], "matte": true,
      "distortionCorrection": true,
      "presets": { "AVCaptureSessionPresetPhoto": "photo12", "AVCaptureSessionPresetHigh": "video1080" } },
    { "id": "back-triple", "type": "triple", "position": "back",
      "of": ["back-ultrawide", "back-wide", "back-tele"],
      "formats": ["video1080", "video4k", "photo12"], "distortionCorrection": true,
      "presets": { "AVCaptureSessionPresetPhoto": "photo12", "AVCaptureSessionPresetHigh": "video1080" } },
    { "id": "front-wide", "type": "wide", "position": "front", "aperture": 2.2,
      "formats": ["front1080", "front12"], "torchModes": [], "flashModes": [0, 1, 2],
      "focusPoint": false, "focusModes": [0], "rawFormats": ["bgg4"],
      "presets": { "AVCaptureSessionPresetPhoto": "front12", "AVCaptureSessionPresetHigh": "front1080" } },
    { "id": "front-truedepth", "type": "truedepth", "position": "front", "aperture": 2.2,
      "of": ["front-wide"],
      "formats": ["front1080", "front12", "front12depth"], "torchModes": [], "flashModes": [0, 1, 2],
      "focusPoint": false, "focusModes": [0], "matte": true,
      "presets": { "AVCaptureSessionPresetPhoto": "front12", "AVCaptureSessionPresetHigh": "front1080" } }
  ],
  "defaultCamera": "back-wide",
  "microphone": true,
  "metadataTypes": ["face"],
  "permissions": { "camera": "authorised", "location": "whenInUse" },
  "storage": { "bytesFree": 4294967296 },
  "information": { "NSLocationWhenInUseUsageDescription": "Photos remember where they were taken." }
})json";

constexpr const char* singleText = R"json({
  "systemVersion": "17.2",
  "formats": {
    "photo8": { "size": [3264, 2448], "frameRates": [{ "minimum": 1, "maximum": 30 }],
                "exposure": ["1/8000", "1/1"], "iso": [32, 1600], "zoom": 8,
                "highResolutionStill": [3264, 2448] },
    "video1080": { "size": [1920, 1080], "frameRates": [{ "minimum": 1, "maximum": 30 }],
                "exposure": ["1/8000", "1/3"], "iso": [32, 1600], "zoom": 8,
                "highResolutionStill": [3264, 1836] }
  },
  "cameras": [
    { "id": "back-wide", "type": "wide", "position": "back", "aperture": 2.0,
      "formats": ["video1080", "photo8"],
      "presets": { "AVCaptureSessionPresetPhoto": "photo8", "AVCaptureSessionPresetHigh": "video1080" } }
  ],
  "defaultCamera": "back-wide",
  "permissions": { "camera": "authorised", "location": "whenInUse" },
  "information": { "NSLocationWhenInUseUsageDescription": "Photos remember where they were taken." }
})json";

constexpr const char* noneText = R"json({
  "systemVersion": "17.2",
  "cameras": [],
  "microphone": false,
  "permissions": { "camera": "authorised", "location": "whenInUse" },
  "information": { "NSLocationWhenInUseUsageDescription": "Photos remember where they were taken." }
})json";

}

PhoneDescription triple()
{
    return fromJSONText(tripleText, "triple");
}

PhoneDescription single()
{
    return fromJSONText(singleText, "single");
}

PhoneDescription none()
{
    return fromJSONText(noneText, "none");
}

}
