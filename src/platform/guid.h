// 128-bit identifiers of classes and interfaces, in the registry form
// {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace orvane {

struct GUID {
  std::uint32_t Data1 = 0;
  std::uint16_t Data2 = 0;
  std::uint16_t Data3 = 0;
  std::array<std::uint8_t, 8> Data4{};

  // Parses the registry form. The braces are optional, hex digits may be of
  // either case; anything else (wrong length, misplaced dashes, stray
  // characters) gives no value.
  static std::optional<GUID> Parse(std::string_view text);

  // Parses a literal known to be well formed; throws std::invalid_argument
  // otherwise. Meant for the identifier constants.
  static GUID FromString(std::string_view text);

  // The registry form, upper case, with braces.
  std::string ToString() const;

  friend bool operator==(const GUID&, const GUID&) = default;
};

using CLSID = GUID;
using IID = GUID;
using REFIID = const GUID&;
using REFCLSID = const GUID&;

struct GuidHash {
  std::size_t operator()(const GUID& g) const noexcept;
};

}  // namespace orvane
