/// @file
/// Marks what the shared library exports.
///
/// The library is built with hidden visibility; only what carries `HAS_API` is visible to an
/// embedder.
#pragma once

#define HAS_API __attribute__((visibility("default")))
#define HAS_LOCAL __attribute__((visibility("hidden")))
