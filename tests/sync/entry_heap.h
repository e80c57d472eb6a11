#pragma once

namespace commutil_test {

/// The calling thread's reservations of tokens that are allocated and not freed.
extern thread_local int t_entries;

/// Makes the heap refuse the calling thread a reservation.
extern thread_local bool t_heapFails;

}  // namespace commutil_test
