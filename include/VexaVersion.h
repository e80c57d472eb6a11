#ifndef VEXA_VERSION_H
#define VEXA_VERSION_H

/// @file
/// The version of these headers, for the preprocessor. The build reads the three numbers here, so
/// the library's file names, its CMake package, its pkg-config file and its packages bear the same
/// ones.

/// A new one means that processes have to be built again.
#define VEXA_COMMUTIL_VERSION_MAJOR 1
/// Grows with additions.
#define VEXA_COMMUTIL_VERSION_MINOR 0
/// Grows with corrections.
#define VEXA_COMMUTIL_VERSION_PATCH 0

/// The three numbers as a text literal: "1.0.0".
#define VEXA_COMMUTIL_VERSION                                                          \
  VEXA_COMMUTIL_VERSION_TEXT(VEXA_COMMUTIL_VERSION_MAJOR, VEXA_COMMUTIL_VERSION_MINOR, \
                             VEXA_COMMUTIL_VERSION_PATCH)

/// Makes a literal of the numbers that its arguments stand for.
#define VEXA_COMMUTIL_VERSION_TEXT(major, minor, patch) \
  VEXA_COMMUTIL_VERSION_LITERAL(major, minor, patch)
/// Makes a literal of its arguments as they are written.
#define VEXA_COMMUTIL_VERSION_LITERAL(major, minor, patch) #major "." #minor "." #patch

#endif
