// Codes with meanings in an effect description and the limits of its tables,
// in one place: everything that tests a parameter's flags or visibility, a
// routing entry or a table size uses these names.
#pragma once

#include <cstddef>

namespace glfxlimits {
constexpr int kRouteNone = 999;         // routing entry: nothing routed
constexpr int kMaxParams = 128;         // parameter table size (index 0 = input layer)
constexpr int kMaxPasses = 32;          // fragment passes
constexpr int kMaxInputs = 32;          // texture inputs of one pass / layer inputs
constexpr int kMaxLayers = 31;          // layer count the parser grows to (input included)
constexpr int kMaxNameLength = 31;      // effect name and host parameter name length
constexpr int kGroupSlots = 5;          // group numbers of one parameter
constexpr int kHideModeGroup = 100;     // a switch whose first group lies above hides instead of disabling
constexpr int kEmptyLayerSize = 100;    // side of the buffer of a layer of no area
constexpr int kMaxPointPercent = 10000; // point defaults are at most this percent of the layer
constexpr std::size_t kScriptBufferSize = 16384; // script text of one alert
constexpr std::size_t kAboutChars = 201;         // description characters About shows
} // namespace glfxlimits

// A routing entry: glfxlimits::kRouteNone, a pass output (>= 0), layer n as
// -(n + 1), imported image n as -(kImportBase + n), or the texture of audio
// parameter p as -(kAudioBase + p).
namespace glfxroute {
constexpr int kImportBase = 1000;
constexpr int kAudioBase = 2000;
constexpr int layer(int n) { return -(n + 1); }
constexpr bool isLayer(int entry) { return entry < 0 && entry > -kImportBase; }
constexpr int layerOf(int entry) { return -(entry + 1); }
constexpr int importOf(int n) { return -(kImportBase + n); }
constexpr bool isImport(int entry) { return entry <= -kImportBase && entry > -kAudioBase; }
constexpr int importIndex(int entry) { return -entry - kImportBase; }
constexpr int audioOf(int param) { return -(kAudioBase + param); }
constexpr bool isAudio(int entry)
{
    return entry <= -kAudioBase && entry > -(kAudioBase + glfxlimits::kMaxParams);
}
constexpr int audioParam(int entry) { return -entry - kAudioBase; }
// Sources a routing line may name: passes and layers below this.
constexpr int kSourceLimit = glfxlimits::kMaxInputs + 1;
} // namespace glfxroute

// The language a description's shaders are written against: the glfx
// uniforms and definitions, or the ISF built-ins (TIME, RENDERSIZE,
// IMG_PIXEL, isf_FragNormCoord, ...), which the pipeline then declares.
namespace glfxdialect {
constexpr int kGlfx = 0;
constexpr int kIsf = 1;
} // namespace glfxdialect

// What a point parameter's shader value means. kLayer: the host's layer
// pixels from the top-left. kFrame: frame pixels from the bottom-left (an
// ISF point2D). kRange: the frame mapped linearly onto the parameter's
// rangeMin..rangeMax, y up (an ISF point2D with MIN and MAX).
namespace glfxpoint {
constexpr int kLayer = 0;
constexpr int kFrame = 1;
constexpr int kRange = 2;
// An ISF point without MIN and MAX gives its DEFAULT in pixels of a frame
// of this size; the host takes defaults as fractions of the layer.
constexpr float kNominalWidth = 1920.f;
constexpr float kNominalHeight = 1080.f;
} // namespace glfxpoint

// A parameter's visibility as the record keeps it.
namespace glfxvisibility {
constexpr int kNormal = 0;
constexpr int kDisabled = 1;
constexpr int kHidden = 2;
constexpr int kEnabledAgain = -1;
constexpr int kShownAgain = -2;
} // namespace glfxvisibility

// What a parameter's flags value means, by type.
namespace glfxflags {
// int / float sliders: flags above this show percent.
constexpr int kPercentAbove = 0;
// angle: flags above this hand shaders radians.
constexpr int kRadiansAbove = 0;
// topic_start: flags above this start the group open.
constexpr int kGroupOpenAbove = 0;
// check and popup: the value becomes an integer define.
constexpr int kIntegerDefine = 1;
// popup: the selected item's text becomes a define.
constexpr int kTextDefine = 2;
// popup: the selected item chooses a preset.
constexpr int kPreset = 3;
} // namespace glfxflags
