// What a reader may take from the heap for an input: no few bytes may have it take gigabytes.
// Counted where the address sanitizer is; elsewhere nothing is taken, as far as one sees here.
#pragma once

#include <cstddef>
#include <string_view>

namespace strider::fuzz {

/// Bytes on the heap now, and the most since the last call of ForgetPeak.
std::size_t HeapBytes();
std::size_t HeapPeak();
void ForgetPeak();

/// Ends the program with a message, as a sanitizer does.
[[noreturn]] void Stop(const char* what);

/// Stops the program if more than a fixed amount, 20 times the input and `cores` motion records
/// came onto the heap since ForgetPeak.
void CheckPeak(std::size_t before, std::string_view input, std::size_t records);

}  // namespace strider::fuzz
