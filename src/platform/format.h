// printf-style formatting into a std::string: every box text, log line and
// file format of the engine is written with the printf formats it was
// designed with, and this keeps them exact without fixed-size buffers.
#pragma once

#include <string>

namespace orvane {

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Appends the formatted text to out; returns out.
std::string& AppendFormat(std::string& out, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

}  // namespace orvane
