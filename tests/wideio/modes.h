#pragma once

namespace commutil_test {

// The modes that processes pass to the wide streams: the values of std::ios::app, in, out and both.
constexpr int kAppend = 1;
constexpr int kRead = 8;
constexpr int kWrite = 16;
constexpr int kUpdate = 24;

}  // namespace commutil_test
