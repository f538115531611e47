#pragma once

/// Marks what libknOpenSGAnim exports. Everything else in the library is hidden. The visibility is the same for
/// the library and for its users, so that both agree on one type information and one set of statics.
#if defined(__GNUC__)
#define KNANIM_API __attribute__((visibility("default")))
#else
#define KNANIM_API
#endif
