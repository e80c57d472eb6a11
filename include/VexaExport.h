#ifndef VEXA_EXPORT_H
#define VEXA_EXPORT_H

/// @file
/// The mark of exported declarations.

/// Marks a declaration as part of the library's binary contract; everything else stays hidden, see
/// the ABI policy.
#define VEXA_EXPORT __attribute__((visibility("default")))

#endif
