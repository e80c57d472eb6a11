#pragma once

namespace commutil_test {

/// How many reservations of tokens the calling thread has made on the heap and not freed.
extern thread_local int t_entries;

/// Returns whether the heap refuses the calling thread a reservation.
extern thread_local bool t_heapFails;

}  // namespace commutil_test
