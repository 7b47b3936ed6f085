/// @file
/// The numbers by which engines and DRM handlers name systems, media and properties.
///
/// All of them are passed as plain integers across the library's boundary, so every number is valid
/// in every one of these types and the numbers alone count; the names are for reading. A number
/// that no operation asks for is carried along and logged like any other.
#pragma once

/// The DRM system whose scheme ids a CCENCMediaContent object accepts.
enum eDRM_TYPE : int {
    /// No system chosen yet: no scheme id matches.
    eDRM_TYPE_NONE = 0,
    /// PlayReady, under both spellings of its system id.
    eDRM_TYPE_PLAYREADY = 1,
    /// Marlin MS3.
    eDRM_TYPE_MARLIN_MS3 = 3,
    /// QDRM.
    eDRM_TYPE_QDRM = 4,
};

/// What a DRM handler was made for. The numbers are those of hascommon::MediaType, which the
/// manager passes on; handlers keep the value and never ask for it.
enum CONTENT_TYPE : int {
    CONTENT_TYPE_AUDIO = 1,
    CONTENT_TYPE_VIDEO = 2,
    /// Subtitles; no handler is made for them.
    CONTENT_TYPE_TEXT = 3,
};

/// Which property an engine sets on a DRM handler. Handlers log the number, and no
/// number means anything to them.
enum Has_DRMPropertyType : int {
    /// No property; every other number is the engine's own.
    HAS_DRM_PROPERTY_NONE = 0,
};

namespace hascommon {

// Declared outside, because the classes that use them first are; the same types by both names.
using ::CONTENT_TYPE;
using ::eDRM_TYPE;
using ::Has_DRMPropertyType;

/// The kind of a representation. Only the numbers count: 1 and 2 get DRM handlers, each kind its
/// own; 3 is looked up and never gets one, because text is not encrypted.
enum MediaType : int {
    MEDIA_TYPE_AUDIO = 1,
    MEDIA_TYPE_VIDEO = 2,
    MEDIA_TYPE_TEXT = 3,
};

/// How content is protected. Only 2 is ever compared with: the one for which the manager makes
/// every handler and keeps it.
enum system_type_t : int {
    SYSTEM_TYPE_NONE = 0,
    /// Common Encryption (ISO/IEC 23001-7).
    SYSTEM_TYPE_CENC = 2,
};

} // namespace hascommon
