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

// Appends value in fixed notation with the fewest digits that read back as
// the same double, and at least minDecimals decimals: 110.0710 read from text
// gives "110.07100" for 5, 101.1071167 stays "101.1071167", 1e-7 gives
// "0.0000001". Infinities and NaN are written as "inf", "-inf" and "nan".
std::string& AppendExactDecimal(std::string& out, double value, int minDecimals);
std::string ExactDecimal(double value, int minDecimals);

// value rounded to that many significant digits: for numbers the engine
// computes (an MH+ from an m/z), whose last bits are rounding noise that the
// exact writer would otherwise show (2597.978172, not 2597.9781719999996).
double RoundToSignificant(double value, int digits);

}  // namespace orvane
