#pragma once

/// The keys of the model objects that the facade uses, for programs that publish these objects (a simulated television,
/// a fake) or use them without the facade.
namespace orvane::model_keys {

inline constexpr char COMMAND[] = "torvi.sl2.vstr.videoplayer.nrx.command";              ///< String list.
inline constexpr char EVENT[] = "torvi.sl2.vstr.videoplayer.nrx.event";                  ///< String list.
inline constexpr char SOFTWARE_VERSION[] = "torvi.sl2.str.orvfactory.software.version";  ///< String.
inline constexpr char FEATURE_CODE[] = "torvi.sl2.str.basic.settings.tv.featurecode";    ///< String.
inline constexpr char PRODUCTION_TYPE[] = "torvi.sl2.str.orvfactory.production.type";    ///< String: `getModelname`.
inline constexpr char SOURCE_SWITCH[] = "torvi.sl2.action.source.switch";  ///< Action: `requestStartNRXService`.

}  // namespace orvane::model_keys
