#include "readers/scan_table.h"

#include "platform/format.h"
#include "platform/reporter.h"

#include <expat.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace orvane::readers {
namespace {

constexpr std::size_t kChunk = 1 << 18;
// Parameters one referenceableParamGroup may hold; real groups hold a dozen.
constexpr std::size_t kMaxGroupParams = 1000;
// Characters of a precursorMz text kept; a number needs far fewer.
constexpr std::size_t kMaxNumberText = 256;

// The elements that matter; everything else is kOther.
enum class El {
  kOther,
  kMzml,
  kRefGroup,
  kRefGroupRef,
  kInstrumentConfiguration,
  kSource,
  kAnalyzer,
  kRun,
  kSpectrumList,
  kSpectrum,
  kScan,
  kScanWindow,
  kPrecursor,
  kIsolationWindow,
  kSelectedIon,
  kActivation,
  kProduct,
  kBinaryDataArray,
  kBinary,
  kCvParam,
  kUserParam,
  kSkip,  // chromatograms, indexes: nothing inside is read
  // mzXML
  kMzxml,
  kMsRun,
  kMsInstrument,
  kMsMassAnalyzer,
  kMsIonisation,
  kMsModel,
  kXScan,
  kPrecursorMz,
  kPeaks,
  kCount,
};

// The elements of one format only; in a document of the other they are
// nothing to this reader.
bool OnlyMzml(El el) {
  switch (el) {
    case El::kRefGroup:
    case El::kRefGroupRef:
    case El::kInstrumentConfiguration:
    case El::kSource:
    case El::kAnalyzer:
    case El::kRun:
    case El::kSpectrumList:
    case El::kSpectrum:
    case El::kScanWindow:
    case El::kPrecursor:
    case El::kIsolationWindow:
    case El::kSelectedIon:
    case El::kActivation:
    case El::kProduct:
    case El::kBinaryDataArray:
    case El::kBinary:
    case El::kCvParam:
    case El::kUserParam:
      return true;
    default:
      return false;
  }
}

bool OnlyMzxml(El el) {
  switch (el) {
    case El::kMsRun:
    case El::kMsInstrument:
    case El::kMsMassAnalyzer:
    case El::kMsIonisation:
    case El::kMsModel:
    case El::kXScan:
    case El::kPrecursorMz:
    case El::kPeaks:
      return true;
    default:
      return false;
  }
}

El Classify(std::string_view name) {
  static const std::unordered_map<std::string_view, El> kNames = {
      {"indexedmzML", El::kMzml},
      {"mzML", El::kMzml},
      {"referenceableParamGroup", El::kRefGroup},
      {"referenceableParamGroupRef", El::kRefGroupRef},
      {"instrumentConfiguration", El::kInstrumentConfiguration},
      {"source", El::kSource},
      {"analyzer", El::kAnalyzer},
      {"run", El::kRun},
      {"spectrumList", El::kSpectrumList},
      {"spectrum", El::kSpectrum},
      {"scan", El::kScan},
      {"scanWindow", El::kScanWindow},
      {"precursor", El::kPrecursor},
      {"isolationWindow", El::kIsolationWindow},
      {"selectedIon", El::kSelectedIon},
      {"ionSelection", El::kSelectedIon},  // mzML 1.0
      {"activation", El::kActivation},
      {"product", El::kProduct},
      {"binaryDataArray", El::kBinaryDataArray},
      {"binary", El::kBinary},
      {"cvParam", El::kCvParam},
      {"userParam", El::kUserParam},
      {"chromatogramList", El::kSkip},
      {"indexList", El::kSkip},
      {"index", El::kSkip},
      {"mzXML", El::kMzxml},
      {"msRun", El::kMsRun},
      {"msInstrument", El::kMsInstrument},
      {"instrument", El::kMsInstrument},  // mzXML 2.0
      {"msMassAnalyzer", El::kMsMassAnalyzer},
      {"msIonisation", El::kMsIonisation},
      {"msModel", El::kMsModel},
      {"precursorMz", El::kPrecursorMz},
      {"peaks", El::kPeaks},
  };
  auto colon = name.rfind(':');
  if (colon != std::string_view::npos) name.remove_prefix(colon + 1);
  auto it = kNames.find(name);
  return it == kNames.end() ? El::kOther : it->second;
}

const char* Attr(const XML_Char** atts, const char* name) {
  for (int i = 0; atts[i]; i += 2) {
    if (std::strcmp(atts[i], name) == 0) return atts[i + 1];
  }
  return nullptr;
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t' || s.front() == '\n' ||
                        s.front() == '\r' || s.front() == '+')) {
    s.remove_prefix(1);
  }
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\n' || s.back() == '\r')) {
    s.remove_suffix(1);
  }
  return s;
}

// A finite number: "nan", "inf" and numbers beyond the range of a double are
// no value.
bool ParseDouble(std::string_view text, double* out) {
  text = Trim(text);
  if (text.empty()) return false;
  auto r = std::from_chars(text.data(), text.data() + text.size(), *out);
  return r.ec == std::errc() && r.ptr == text.data() + text.size() && std::isfinite(*out);
}

bool ParseLong(std::string_view text, long* out) {
  text = Trim(text);
  if (text.empty()) return false;
  auto r = std::from_chars(text.data(), text.data() + text.size(), *out);
  return r.ec == std::errc() && r.ptr == text.data() + text.size();
}

// A count of values or peaks as a file declares it; -1 (not declared) for
// anything but a whole number from 0 on.
long ParseCount(const char* text) {
  long n;
  return text && ParseLong(text, &n) && n >= 0 ? n : -1;
}

// Text as read, for a message: quoted, and cut short when long.
std::string Quoted(std::string_view text) {
  constexpr std::size_t kShown = 40;
  if (text.size() > kShown) return "\"" + std::string(text.substr(0, kShown)) + "...\"";
  return "\"" + std::string(text) + "\"";
}

// Seconds made from minutes or hours, rounded to 12 significant digits (a
// microsecond at 10,000 s, far below what any instrument times), so that
// 24.061071666666667 minutes are 1443.6643 seconds and not 1443.6643000000201.
double RoundedSeconds(double v) { return RoundToSignificant(v, 12); }

void SetFrom(OptionalValue* v, const char* text) {
  double d;
  if (text && ParseDouble(text, &d)) v->Set(d);
}

bool EndsWith(std::string_view s, std::string_view suffix) {
  return s.size() >= suffix.size() && s.substr(s.size() - suffix.size()) == suffix;
}

std::string Lower(std::string_view s) {
  std::string r(s);
  for (auto& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return r;
}

// One cvParam or userParam, as kept for a referenceableParamGroup.
struct Param {
  std::string accession;  // empty for a userParam
  std::string name;
  std::string value;
  std::string unitAccession;
  std::string unitName;
};

const char* ActivationText(std::string_view acc) {
  if (acc == "MS:1000133" || acc == "MS:1002472" || acc == "MS:1001880") return "cid";
  if (acc == "MS:1000422" || acc == "MS:1002481") return "hcd";
  if (acc == "MS:1000598") return "etd";
  if (acc == "MS:1000250") return "ecd";
  if (acc == "MS:1000599") return "pqd";
  if (acc == "MS:1000262") return "mpd";
  if (acc == "MS:1000435") return "pd";
  if (acc == "MS:1000282") return "sid";
  return nullptr;
}

const char* AnalyzerText(std::string_view acc) {
  if (acc == "MS:1000484" || acc == "MS:1000079") return "FTMS";
  if (acc == "MS:1000264" || acc == "MS:1000083" || acc == "MS:1000078" || acc == "MS:1000082" ||
      acc == "MS:1000291") {
    return "ITMS";
  }
  if (acc == "MS:1000084") return "TOFMS";
  if (acc == "MS:1000081") return "SQMS";
  if (acc == "MS:1000080") return "Sector";
  return nullptr;
}

const char* SourceText(std::string_view acc) {
  if (acc == "MS:1000398" || acc == "MS:1000485") return "NSI";
  if (acc == "MS:1000073" || acc == "MS:1000057") return "ESI";
  if (acc == "MS:1000075" || acc == "MS:1000239") return "MALDI";
  if (acc == "MS:1000070") return "APCI";
  if (acc == "MS:1000382") return "APPI";
  return nullptr;
}

// mzXML keeps names of analyzers and sources as free text.
std::string AnalyzerFromName(const std::string& value) {
  std::string v = Lower(value);
  if (v.find("orbitrap") != std::string::npos || v.find("ft") == 0 ||
      v.find("fourier") != std::string::npos) {
    return "FTMS";
  }
  if (v.find("trap") != std::string::npos || v == "itms" || v == "lit" || v == "lcq") return "ITMS";
  if (v.find("tof") != std::string::npos) return "TOFMS";
  if (v.find("quadrupole") != std::string::npos) return "SQMS";
  return "";
}

std::string SourceFromName(const std::string& value) {
  std::string v = Lower(value);
  if (v.find("nano") != std::string::npos || v == "nsi") return "NSI";
  if (v.find("electrospray") != std::string::npos || v == "esi") return "ESI";
  if (v.find("maldi") != std::string::npos) return "MALDI";
  if (v.find("apci") != std::string::npos || v.find("chemical") != std::string::npos) return "APCI";
  return "";
}

// The model an mzML instrument configuration names: a cvParam of the
// configuration itself (or of a group it refers to) whose term is a child of
// MS:1000031 "instrument model". Model terms carry no value, while the
// attributes that stand beside them (serial number MS:1000529, customization
// MS:1000032, ...) do; the generic term itself names a model the vocabulary
// lacks in its value.
std::string ModelName(const Param& p) {
  if (p.accession.empty()) return "";
  if (p.accession == "MS:1000031") return p.value;
  return p.value.empty() ? p.name : "";
}

bool IsNumpress(std::string_view acc, std::string_view name) {
  if (acc == "MS:1002312" || acc == "MS:1002313" || acc == "MS:1002314" || acc == "MS:1002746" ||
      acc == "MS:1002747" || acc == "MS:1002748") {
    return true;
  }
  return Lower(name).find("numpress") != std::string::npos;
}

class Scanner {
 public:
  Scanner(ScanTable* table, const std::string& path) : t_(table), path_(path) {}

  void Run(ByteSource& source) {
    parser_ = XML_ParserCreate(nullptr);
    if (!parser_) throw std::runtime_error("out of memory starting the XML parser");
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(parser_, &Scanner::OnStart, &Scanner::OnEnd);
    XML_SetXmlDeclHandler(parser_, &Scanner::OnDecl);
    XML_SetEntityDeclHandler(parser_, &Scanner::OnEntityDecl);
    try {
      Parse(source);
    } catch (...) {
      XML_ParserFree(parser_);
      parser_ = nullptr;
      throw;
    }
    XML_ParserFree(parser_);
    parser_ = nullptr;
    Resolve();
  }

 private:
  void Parse(ByteSource& source) {
    bool first = true;
    while (true) {
      void* buffer = XML_GetBuffer(parser_, static_cast<int>(kChunk));
      if (!buffer) throw std::runtime_error(path_ + ": out of memory while reading");
      std::size_t n = source.ReadNext(static_cast<char*>(buffer), kChunk);
      if (first && n >= 2) {
        auto* b = static_cast<const unsigned char*>(buffer);
        if ((b[0] == 0xfe && b[1] == 0xff) || (b[0] == 0xff && b[1] == 0xfe) || b[0] == 0 ||
            b[1] == 0) {
          throw std::runtime_error(path_ + ": UTF-16 documents are not supported");
        }
      }
      first = false;
      if (XML_ParseBuffer(parser_, static_cast<int>(n), n == 0) == XML_STATUS_ERROR) {
        if (!error_.empty()) throw std::runtime_error(error_);
        if (done_ && XML_GetErrorCode(parser_) == XML_ERROR_ABORTED) break;
        throw std::runtime_error(
            path_ + ": not a readable " + FormatName() + " document: " +
            XML_ErrorString(XML_GetErrorCode(parser_)) + " at " + At());
      }
      if (n == 0) break;
    }
    if (!sawRoot_) throw std::runtime_error(path_ + ": not an mzML or mzXML document");
    if (!done_) {
      throw std::runtime_error(path_ + ": the document holds no " +
                               std::string(t_->format == FileFormat::kMzml ? "run" : "msRun") +
                               " element");
    }
  }

  std::string FormatName() const {
    if (!sawRoot_) return "mzML or mzXML";
    return t_->format == FileFormat::kMzml ? "mzML" : "mzXML";
  }

  // Stops the parse with a message of our own.
  void Fail(const std::string& message) {
    if (error_.empty()) error_ = message;
    XML_StopParser(parser_, XML_FALSE);
  }

  std::string SpectrumName() const {
    if (cur_ < 0) return "?";
    const auto& s = t_->spectra[static_cast<std::size_t>(cur_)];
    return t_->format == FileFormat::kMzml ? "\"" + s.strId + "\"" : "scan " + s.strId;
  }

  // The place of the event in hand: "line 12, column 5", both from 1.
  std::string At() const {
    return "line " + std::to_string(XML_GetCurrentLineNumber(parser_)) + ", column " +
           std::to_string(XML_GetCurrentColumnNumber(parser_) + 1);
  }

  // Refuses spectrum s for the reason given; the first reason stands.
  void Refuse(SpectrumMeta& s, const std::string& reason) {
    if (s.strRefusal.empty()) {
      s.strRefusal = path_ + ": " + SpectrumPlace(t_->format, s) + ": refused: " + reason;
    }
  }

  // A stated MS level: 1 to kMaxMsLevel; anything else refuses the spectrum
  // and leaves its level to be judged from its precursors. An empty text
  // states none.
  void SetLevel(SpectrumMeta& s, const char* text) {
    long level;
    if (Trim(text).empty()) return;
    if (ParseLong(text, &level) && level >= 1 && level <= kMaxMsLevel) {
      s.nMsLevel = static_cast<int>(level);
    } else {
      s.nMsLevel = 0;
      Refuse(s, "MS level " + Quoted(text) + " is not one this reader takes (1 to " +
                    std::to_string(kMaxMsLevel) + ")");
    }
  }

  // A stated charge into *z: 0 (or an empty text) states nothing; 1 to
  // kMaxCharge. Anything else refuses the current spectrum and answers false.
  bool ReadCharge(std::string_view text, long* z) {
    *z = 0;
    if (Trim(text).empty()) return true;
    if (ParseLong(text, z) && *z >= 0 && *z <= kMaxCharge) return true;
    Refuse(Cur(), "charge " + Quoted(text) + " is not one a precursor can have (1 to " +
                      std::to_string(kMaxCharge) + ")");
    return false;
  }

  // At the end of a spectrum: its level when the file states none, and the
  // checks of level and precursor m/z.
  void Finish(SpectrumMeta& s, int levelHint) {
    if (s.nMsLevel == 0 && s.strRefusal.empty()) {
      const std::size_t n = s.precursors.size();
      s.nMsLevel = levelHint == 1 || n == 0 ? 1 : n >= kMaxMsLevel ? kMaxMsLevel + 1 : static_cast<int>(n) + 1;
    }
    if (s.nMsLevel > kMaxMsLevel) {
      Refuse(s, "it has " + std::to_string(s.precursors.size()) + " precursors, more than an MS level of " +
                    std::to_string(kMaxMsLevel) + " can have");
      s.nMsLevel = 0;
    }
    if (s.nMsLevel < 2 || !s.strRefusal.empty()) return;
    if (s.selectedMz.bSet) {
      const double mz = s.selectedMz.dValue;
      if (mz <= 0.0 || mz > kMaxMz) {
        Refuse(s, "precursor m/z " + Quoted(s.strPrecursorMzText) + " is not usable (above 0, up to " +
                      Format("%g", kMaxMz) + ")");
      }
    } else if (!s.strPrecursorMzText.empty()) {
      Refuse(s, "precursor m/z " + Quoted(s.strPrecursorMzText) + " is not a number");
    } else {
      Refuse(s, "MS level " + std::to_string(s.nMsLevel) + " without a precursor m/z");
    }
  }

  static void XMLCALL OnDecl(void* ud, const XML_Char*, const XML_Char* encoding, int) {
    auto* self = static_cast<Scanner*>(ud);
    if (encoding && Lower(encoding).rfind("utf-16", 0) == 0) {
      self->Fail(self->path_ + ": UTF-16 documents are not supported");
    }
  }

  // Entities would move the text of the peak arrays away from the places the
  // pass records; no mzML or mzXML writer declares any.
  static void XMLCALL OnEntityDecl(void* ud, const XML_Char* name, int, const XML_Char*, int,
                                   const XML_Char*, const XML_Char*, const XML_Char*,
                                   const XML_Char*) {
    auto* self = static_cast<Scanner*>(ud);
    self->Fail(self->path_ + ": " + self->At() + ": the document declares the entity \"" + name +
               "\"; mzML and mzXML files declare none");
  }

  static void XMLCALL OnStart(void* ud, const XML_Char* name, const XML_Char** atts) {
    static_cast<Scanner*>(ud)->Start(name, atts);
  }
  static void XMLCALL OnEnd(void* ud, const XML_Char* name) {
    static_cast<Scanner*>(ud)->End(name);
  }
  static void XMLCALL OnChars(void* ud, const XML_Char* s, int len) {
    auto* self = static_cast<Scanner*>(ud);
    if (!self->collect_) return;
    const std::size_t n = static_cast<std::size_t>(len);
    // A text longer than any number is kept cut short: no number either way.
    if (self->text_.size() + n > kMaxNumberText) {
      self->text_.append(s, std::min(n, kMaxNumberText - std::min(kMaxNumberText, self->text_.size())));
      self->textCut_ = true;
    } else {
      self->text_.append(s, n);
    }
  }

  std::uint64_t TextStart() const {
    return static_cast<std::uint64_t>(XML_GetCurrentByteIndex(parser_)) +
           static_cast<std::uint64_t>(XML_GetCurrentByteCount(parser_));
  }
  std::uint64_t Here() const { return static_cast<std::uint64_t>(XML_GetCurrentByteIndex(parser_)); }

  El Context() const { return stack_.empty() ? El::kOther : stack_.back(); }

  void Start(const XML_Char* name, const XML_Char** atts) {
    if (!error_.empty()) return;
    if (skip_ > 0) {
      ++skip_;
      Push(El::kOther);
      return;
    }
    El el = Classify(name);
    if (!sawRoot_) {
      if (el == El::kMzml) {
        t_->format = FileFormat::kMzml;
      } else if (el == El::kMzxml || el == El::kMsRun) {
        t_->format = FileFormat::kMzxml;
      } else {
        Fail(path_ + ": not an mzML or mzXML document (its root element is <" + name + ">)");
        return;
      }
      sawRoot_ = true;
    }
    // mzML and mzXML share a few names; the format decides.
    if (t_->format == FileFormat::kMzxml && el == El::kScan) el = El::kXScan;
    if (t_->format == FileFormat::kMzml ? OnlyMzxml(el) : OnlyMzml(el)) el = El::kOther;
    if (!InPlace(el, name)) return;
    switch (el) {
      case El::kSkip:
        skip_ = 1;
        break;
      case El::kCvParam:
      case El::kUserParam:
        OnParam(el, atts);
        break;
      case El::kRefGroup:
        groupId_ = Attr(atts, "id") ? Attr(atts, "id") : "";
        groups_[groupId_].clear();
        break;
      case El::kRefGroupRef:
        OnGroupRef(atts);
        break;
      case El::kInstrumentConfiguration: {
        Instrument ins;
        if (const char* id = Attr(atts, "id")) ins.strId = id;
        t_->instruments.push_back(ins);
        inInstrument_ = true;
        break;
      }
      case El::kRun:
        if (const char* ref = Attr(atts, "defaultInstrumentConfigurationRef")) defaultRef_ = ref;
        break;
      case El::kSpectrum:
        StartSpectrum(atts);
        break;
      case El::kScan:
        if (cur_ >= 0) {
          if (const char* ref = Attr(atts, "instrumentConfigurationRef")) instrumentRef_ = ref;
        }
        break;
      case El::kPrecursor:
        if (cur_ >= 0) {
          prec_ = Precursor{};
          precSelected_ = OptionalValue{};
          precIsolation_ = OptionalValue{};
          precCharge_ = 0;
          precPossibleMin_ = 0;
          precCharges_.clear();
          precIntensity_ = 0.0;
          precLower_ = OptionalValue{};
          precSelectedText_.clear();
          precIsolationText_.clear();
          precUpper_ = OptionalValue{};
          if (const char* ref = Attr(atts, "spectrumRef")) {
            Cur().strRef = ref;
          } else {
            Cur().strRef.clear();
          }
        }
        break;
      case El::kBinaryDataArray:
        if (cur_ >= 0) {
          array_ = ArrayText{};
          arrayRole_ = 0;
          arrayNumpress_ = false;
          array_.nCount = ParseCount(Attr(atts, "arrayLength"));
        }
        break;
      case El::kBinary:
        if (cur_ >= 0) array_.offset = TextStart();
        break;
      case El::kMsInstrument: {
        Instrument ins;
        if (const char* id = Attr(atts, "msInstrumentID")) {
          ins.strId = id;
        } else if (const char* id2 = Attr(atts, "id")) {
          ins.strId = id2;
        }
        if (const char* model = Attr(atts, "model")) ins.strModel = model;  // mzXML 2.0
        t_->instruments.push_back(ins);
        break;
      }
      case El::kMsMassAnalyzer:
        if (!t_->instruments.empty()) {
          if (const char* v = Attr(atts, "value")) t_->instruments.back().strAnalyzer = AnalyzerFromName(v);
        }
        break;
      case El::kMsIonisation:
        if (!t_->instruments.empty()) {
          if (const char* v = Attr(atts, "value")) t_->instruments.back().strSource = SourceFromName(v);
        }
        break;
      case El::kMsModel:
        if (!t_->instruments.empty()) {
          if (const char* v = Attr(atts, "value")) t_->instruments.back().strModel = v;
        }
        break;
      case El::kXScan:
        StartXScan(atts);
        break;
      case El::kPrecursorMz:
        if (cur_ >= 0) StartPrecursorMz(atts);
        break;
      case El::kPeaks:
        if (cur_ >= 0) StartPeaks(atts);
        break;
      default:
        break;
    }
    Push(el);
  }

  void Push(El el) {
    stack_.push_back(el);
    ++open_[static_cast<std::size_t>(el)];
  }

  bool Inside(El el) const { return open_[static_cast<std::size_t>(el)] > 0; }

  // Elements that belong to one spectrum (or mzXML scan) must be inside one,
  // and not inside another of their kind; spectra don't nest (mzXML scans do:
  // an MS/MS scan inside its survey scan). False after the failure.
  bool InPlace(El el, const XML_Char* name) {
    const El owner = t_->format == FileFormat::kMzml ? El::kSpectrum : El::kXScan;
    const char* ownerName = t_->format == FileFormat::kMzml ? "spectrum" : "scan";
    std::string problem;
    switch (el) {
      case El::kSpectrum:
        if (Inside(El::kSpectrum)) problem = "inside spectrum " + SpectrumName() + "; spectra don't nest";
        break;
      case El::kPrecursor:
      case El::kBinaryDataArray:
      case El::kBinary:
      case El::kPrecursorMz:
      case El::kPeaks:
        if (!Inside(owner)) {
          problem = std::string("outside any ") + ownerName;
        } else if (Inside(el)) {
          problem = std::string("inside another <") + name + "> of " + SpectrumName();
        }
        break;
      default:
        break;
    }
    if (problem.empty()) return true;
    Fail(path_ + ": " + At() + ": a <" + name + "> element " + problem);
    return false;
  }

  void End(const XML_Char*) {
    if (!error_.empty()) return;
    El el = stack_.empty() ? El::kOther : stack_.back();
    if (!stack_.empty()) {
      stack_.pop_back();
      --open_[static_cast<std::size_t>(el)];
    }
    if (skip_ > 0) {
      --skip_;
      return;
    }
    switch (el) {
      case El::kRefGroup:
        groupId_.clear();
        break;
      case El::kInstrumentConfiguration:
        inInstrument_ = false;
        break;
      case El::kRun:
      case El::kMsRun:
        done_ = true;
        XML_StopParser(parser_, XML_FALSE);
        break;
      case El::kSpectrum:
        if (cur_ >= 0) EndSpectrum();
        break;
      case El::kPrecursor:
        if (cur_ >= 0) EndPrecursor();
        break;
      case El::kBinary:
        if (cur_ >= 0) {
          std::uint64_t end = Here();
          array_.length = end > array_.offset ? end - array_.offset : 0;
          array_.bPresent = true;
        }
        break;
      case El::kBinaryDataArray:
        if (cur_ >= 0) EndBinaryDataArray();
        break;
      case El::kXScan:
        EndXScan();
        break;
      case El::kPrecursorMz:
        if (cur_ >= 0) EndPrecursorMz();
        break;
      case El::kPeaks:
        if (cur_ >= 0) EndPeaks();
        break;
      default:
        break;
    }
  }

  SpectrumMeta& Cur() { return t_->spectra[static_cast<std::size_t>(cur_)]; }

  // ---- mzML ----

  void OnParam(El kind, const XML_Char** atts) {
    Param p;
    if (kind == El::kCvParam) {
      if (const char* a = Attr(atts, "accession")) p.accession = a;
    }
    if (const char* a = Attr(atts, "name")) p.name = a;
    if (const char* a = Attr(atts, "value")) p.value = a;
    if (const char* a = Attr(atts, "unitAccession")) p.unitAccession = a;
    if (const char* a = Attr(atts, "unitName")) p.unitName = a;
    if (!groupId_.empty()) {
      auto& group = groups_[groupId_];
      // Each reference applies the whole group: a bound keeps that linear.
      if (group.size() >= kMaxGroupParams) {
        Fail(path_ + ": " + At() + ": referenceableParamGroup \"" + groupId_ + "\" holds more than " +
             std::to_string(kMaxGroupParams) + " parameters");
        return;
      }
      group.push_back(std::move(p));
      return;
    }
    Apply(Context(), p);
  }

  void OnGroupRef(const XML_Char** atts) {
    const char* ref = Attr(atts, "ref");
    if (!ref) return;
    auto it = groups_.find(ref);
    if (it == groups_.end()) {
      Fail(path_ + ": " + At() + ": referenceableParamGroupRef \"" + ref + "\" names no group of the file");
      return;
    }
    for (const auto& p : it->second) Apply(Context(), p);
  }

  // A parameter in the element ctx.
  void Apply(El ctx, const Param& p) {
    const std::string& acc = p.accession;
    if (inInstrument_ && !t_->instruments.empty()) {
      Instrument& ins = t_->instruments.back();
      if (ctx == El::kAnalyzer) {
        if (const char* a = AnalyzerText(acc)) ins.strAnalyzer = a;
      } else if (ctx == El::kSource) {
        if (const char* s = SourceText(acc); s && ins.strSource != "NSI") ins.strSource = s;
      } else if (ctx == El::kInstrumentConfiguration && ins.strModel.empty()) {
        ins.strModel = ModelName(p);
      }
      return;
    }
    if (cur_ < 0) return;
    SpectrumMeta& s = Cur();
    switch (ctx) {
      case El::kSpectrum:
      case El::kScan:
      case El::kOther:  // scanList
        if (acc.empty()) {
          if (p.name == "filter string") {
            s.strFilter = p.value;
          } else if (EndsWith(p.name, "Monoisotopic M/Z:")) {
            // 0 is the instrument's "not determined"; a value no m/z can have is none.
            double v;
            if (ParseDouble(p.value, &v) && v >= 0.0 && v <= kMaxMz) s.monoisotopicMz.Set(v);
          } else if (EndsWith(p.name, "Charge State:")) {
            long z;
            if (ReadCharge(p.value, &z)) trailerCharge_ = static_cast<int>(z);
          }
        } else if (acc == "MS:1000511") {
          SetLevel(s, p.value.c_str());
        } else if (acc == "MS:1000579") {
          levelHint_ = 1;
        } else if (acc == "MS:1000127") {
          s.bCentroid = true;
        } else if (acc == "MS:1000128") {
          s.bCentroid = false;
        } else if (acc == "MS:1000130") {
          s.bNegative = false;
        } else if (acc == "MS:1000129") {
          s.bNegative = true;
        } else if (acc == "MS:1000285") {
          SetFrom(&s.totalIntensity, p.value.c_str());
        } else if (acc == "MS:1000505") {
          SetFrom(&s.basePeakIntensity, p.value.c_str());
        } else if (acc == "MS:1000504") {
          SetFrom(&s.basePeakMz, p.value.c_str());
        } else if (acc == "MS:1000528") {
          SetFrom(&s.lowMz, p.value.c_str());
        } else if (acc == "MS:1000527") {
          SetFrom(&s.highMz, p.value.c_str());
        } else if (acc == "MS:1000512") {
          s.strFilter = p.value;
        } else if (acc == "MS:1000016") {
          double v;
          if (ParseDouble(p.value, &v)) {
            bool minutes = p.unitAccession == "UO:0000031" || p.unitName == "minute";
            bool hours = p.unitAccession == "UO:0000032" || p.unitName == "hour";
            s.retentionTime.Set(hours ? v * 60.0 : minutes ? v : v / 60.0);
            s.retentionSeconds.Set(hours ? RoundedSeconds(v * 3600.0) : minutes ? RoundedSeconds(v * 60.0) : v);
          }
        }
        break;
      case El::kScanWindow: {
        double v;
        if (acc == "MS:1000501" && ParseDouble(p.value, &v)) {
          if (!s.windowLow.bSet || v < s.windowLow.dValue) s.windowLow.Set(v);
        } else if (acc == "MS:1000500" && ParseDouble(p.value, &v)) {
          if (!s.windowHigh.bSet || v > s.windowHigh.dValue) s.windowHigh.Set(v);
        }
        break;
      }
      case El::kIsolationWindow:
        if (!inPrecursor()) break;
        if (acc == "MS:1000827") {
          if (!precIsolation_.bSet) precIsolationText_ = p.value;
          SetFrom(&precIsolation_, p.value.c_str());
        } else if (acc == "MS:1000828") {
          SetFrom(&precLower_, p.value.c_str());
        } else if (acc == "MS:1000829") {
          SetFrom(&precUpper_, p.value.c_str());
        }
        break;
      case El::kSelectedIon:
        if (!inPrecursor()) break;
        if (acc == "MS:1000744") {
          if (!precSelected_.bSet) {
            precSelectedText_ = p.value;
            SetFrom(&precSelected_, p.value.c_str());
          }
        } else if (acc == "MS:1000041") {
          long z;
          if (ReadCharge(p.value, &z)) {
            if (precCharge_ == 0) precCharge_ = static_cast<int>(z);
            AddCharge(z);
          }
        } else if (acc == "MS:1000042") {
          double v;
          if (ParseDouble(p.value, &v) && v > 0.0) precIntensity_ = v;
        } else if (acc == "MS:1000633") {
          long z;
          if (ReadCharge(p.value, &z) && z > 0) {
            if (precPossibleMin_ == 0 || z < precPossibleMin_) precPossibleMin_ = static_cast<int>(z);
            AddCharge(z);
          }
        }
        break;
      case El::kActivation:
        if (!inPrecursor()) break;
        if (acc == "MS:1000045") {
          double v;
          if (ParseDouble(p.value, &v)) prec_.dEnergy = v;
        } else if (const char* a = ActivationText(acc); a && prec_.strActivation.empty()) {
          prec_.strActivation = a;
        }
        break;
      case El::kBinaryDataArray:
        if (acc == "MS:1000514") {
          arrayRole_ = 1;
        } else if (acc == "MS:1000515") {
          arrayRole_ = 2;
        } else if (acc == "MS:1000521") {
          array_.encoding.kind = NumberKind::kFloat32;
        } else if (acc == "MS:1000523") {
          array_.encoding.kind = NumberKind::kFloat64;
        } else if (acc == "MS:1000519") {
          array_.encoding.kind = NumberKind::kInt32;
        } else if (acc == "MS:1000522") {
          array_.encoding.kind = NumberKind::kInt64;
        } else if (acc == "MS:1000574") {
          array_.encoding.bZlib = true;
        } else if (acc == "MS:1000576") {
          array_.encoding.bZlib = false;
        } else if (IsNumpress(acc, p.name)) {
          arrayNumpress_ = true;
        }
        break;
      default:
        break;
    }
  }

  bool inPrecursor() const { return Inside(El::kPrecursor); }

  void StartSpectrum(const XML_Char** atts) {
    t_->spectra.emplace_back();
    cur_ = static_cast<int>(t_->spectra.size() - 1);
    SpectrumMeta& s = Cur();
    if (const char* id = Attr(atts, "id")) s.strId = id;
    s.nDeclaredCount = ParseCount(Attr(atts, "defaultArrayLength"));
    levelHint_ = 0;
    trailerCharge_ = 0;
    instrumentRef_.clear();
  }

  void EndPrecursor() {
    SpectrumMeta& s = Cur();
    prec_.dMz = precSelected_.bSet ? precSelected_.dValue : precIsolation_.dValue;
    s.precursors.push_back(prec_);
    s.selectedMz = precSelected_.bSet ? precSelected_ : precIsolation_;
    // The text behind the m/z, or the text that gave none.
    s.strPrecursorMzText = precSelected_.bSet || precIsolation_.bSet
                               ? (precSelected_.bSet ? precSelectedText_ : precIsolationText_)
                               : (!precSelectedText_.empty() ? precSelectedText_ : precIsolationText_);
    s.vCharges = precCharges_;
    s.dPrecursorIntensity = precIntensity_;
    s.isolationTarget = precIsolation_;
    s.isolationLower = precLower_;
    s.isolationUpper = precUpper_;
    // The charge of the last precursor is the scan's own. A list of possible
    // charges counts by its smallest member.
    s.nCharge = precCharge_ ? precCharge_ : precPossibleMin_;
  }

  void EndBinaryDataArray() {
    if (arrayRole_ == 0) return;  // another kind of array: not read
    if (arrayNumpress_) {
      Fail(path_ + ": the peaks of spectrum " + SpectrumName() +
           " are MS-Numpress compressed, which this reader does not decode; convert the file "
           "again without numpress (for example: msconvert --zlib FILE)");
      return;
    }
    SpectrumMeta& s = Cur();
    (arrayRole_ == 1 ? s.mz : s.intensity) = array_;
  }

  int FindInstrument(const std::string& id) const {
    for (std::size_t i = 0; i < t_->instruments.size(); ++i) {
      if (t_->instruments[i].strId == id) return static_cast<int>(i);
    }
    return -1;
  }

  void EndSpectrum() {
    SpectrumMeta& s = Cur();
    Finish(s, levelHint_);
    if (s.nCharge == 0 && trailerCharge_ > 0) s.nCharge = trailerCharge_;
    s.nInstrument = FindInstrument(instrumentRef_.empty() ? defaultRef_ : instrumentRef_);
    if (s.nInstrument < 0 && !t_->instruments.empty()) s.nInstrument = 0;
    if (s.nDeclaredCount < 0 && s.mz.nCount >= 0) s.nDeclaredCount = s.mz.nCount;
    cur_ = -1;
  }

  // ---- mzXML ----

  void StartXScan(const XML_Char** atts) {
    int parent = scanStack_.empty() ? -1 : scanStack_.back();
    t_->spectra.emplace_back();
    cur_ = static_cast<int>(t_->spectra.size() - 1);
    scanStack_.push_back(cur_);
    SpectrumMeta& s = Cur();
    s.nNestedParent = parent;
    s.bInterleaved = true;
    if (const char* v = Attr(atts, "num")) s.strId = v;
    if (const char* v = Attr(atts, "msLevel")) SetLevel(s, v);
    s.nDeclaredCount = ParseCount(Attr(atts, "peaksCount"));
    if (const char* v = Attr(atts, "polarity")) s.bNegative = std::strcmp(v, "-") == 0;
    if (const char* v = Attr(atts, "centroided")) s.bCentroid = std::strcmp(v, "1") == 0 || std::strcmp(v, "true") == 0;
    if (const char* v = Attr(atts, "retentionTime")) {
      double minutes;
      if (ParseDuration(v, &minutes)) s.retentionTime.Set(minutes);
      double seconds;
      if (ParseDurationSeconds(v, &seconds)) s.retentionSeconds.Set(seconds);
    }
    SetFrom(&s.lowMz, Attr(atts, "lowMz"));
    SetFrom(&s.highMz, Attr(atts, "highMz"));
    SetFrom(&s.windowLow, Attr(atts, "startMz"));
    SetFrom(&s.windowHigh, Attr(atts, "endMz"));
    SetFrom(&s.basePeakMz, Attr(atts, "basePeakMz"));
    SetFrom(&s.basePeakIntensity, Attr(atts, "basePeakIntensity"));
    SetFrom(&s.totalIntensity, Attr(atts, "totIonCurrent"));
    if (const char* v = Attr(atts, "filterLine")) s.strFilter = v;
    collisionEnergy_ = 0.0;
    if (const char* v = Attr(atts, "collisionEnergy")) ParseDouble(v, &collisionEnergy_);
    s.nInstrument = -1;
    if (const char* v = Attr(atts, "msInstrumentID")) s.nInstrument = FindInstrument(v);
    if (s.nInstrument < 0 && !t_->instruments.empty()) s.nInstrument = 0;
  }

  void EndXScan() {
    if (cur_ >= 0) Finish(Cur(), 0);
    if (!scanStack_.empty()) scanStack_.pop_back();
    cur_ = scanStack_.empty() ? -1 : scanStack_.back();
  }

  void StartPrecursorMz(const XML_Char** atts) {
    prec_ = Precursor{};
    prec_.dEnergy = collisionEnergy_;
    if (const char* v = Attr(atts, "activationMethod")) prec_.strActivation = Lower(v);
    SpectrumMeta& s = Cur();
    if (const char* v = Attr(atts, "precursorScanNum")) {
      s.strRef = v;
    } else {
      s.strRef.clear();
    }
    s.nCharge = 0;
    precCharges_.clear();
    long z;
    if (const char* v = Attr(atts, "precursorCharge")) {
      if (ReadCharge(v, &z)) {
        s.nCharge = static_cast<int>(z);
        AddCharge(z);
      }
    } else if (const char* pc = Attr(atts, "possibleCharges")) {
      // A list such as "2,3": the smallest counts.
      std::string_view list(pc);
      int smallest = 0;
      while (!list.empty()) {
        auto comma = list.find_first_of(", ");
        const std::string_view member = list.substr(0, comma);
        long c;
        if (ReadCharge(member, &c) && c > 0) {
          if (smallest == 0 || c < smallest) smallest = static_cast<int>(c);
          AddCharge(c);
        }
        if (comma == std::string_view::npos) break;
        list.remove_prefix(comma + 1);
      }
      s.nCharge = smallest;
    }
    s.vCharges = precCharges_;
    s.dPrecursorIntensity = 0.0;
    double v = 0.0;
    if (const char* text = Attr(atts, "precursorIntensity"); text && ParseDouble(text, &v) && v > 0.0)
      s.dPrecursorIntensity = v;
    if (const char* text = Attr(atts, "windowWideness"); text && ParseDouble(text, &v) && v > 0.0) {
      s.isolationLower.Set(v / 2.0);
      s.isolationUpper.Set(v / 2.0);
    }
    text_.clear();
    textCut_ = false;
    collect_ = true;
    // Character data is wanted here only: the handler stays off for the peaks.
    XML_SetCharacterDataHandler(parser_, &Scanner::OnChars);
  }

  void EndPrecursorMz() {
    collect_ = false;
    XML_SetCharacterDataHandler(parser_, nullptr);
    double mz = 0.0;
    SpectrumMeta& s = Cur();
    s.strPrecursorMzText = std::string(Trim(text_));
    if (textCut_ || !ParseDouble(text_, &mz)) {
      // Counted as a precursor all the same; the scan is refused at its end.
      s.precursors.push_back(prec_);
      s.selectedMz = OptionalValue{};
      s.isolationTarget = OptionalValue{};
      return;
    }
    prec_.dMz = mz;
    s.precursors.push_back(prec_);
    s.selectedMz.Set(mz);
    s.isolationTarget.Set(mz);
  }

  void StartPeaks(const XML_Char** atts) {
    peaksIgnored_ = false;
    SpectrumMeta& s = Cur();
    const char* content = Attr(atts, "contentType");
    if (!content) content = Attr(atts, "pairOrder");
    if (content && std::strcmp(content, "m/z-int") != 0) {
      Fail(path_ + ": the peaks of scan " + s.strId + " are of content type \"" + content +
           "\"; this reader reads \"m/z-int\" pairs");
      return;
    }
    if (s.mz.bPresent) {  // a second list of pairs: the first counts
      peaksIgnored_ = true;
      return;
    }
    array_ = ArrayText{};
    const char* precision = Attr(atts, "precision");
    if (precision && std::strcmp(precision, "64") == 0) {
      array_.encoding.kind = NumberKind::kFloat64;
    } else if (!precision || std::strcmp(precision, "32") == 0) {
      array_.encoding.kind = NumberKind::kFloat32;
    } else {
      Fail(path_ + ": the peaks of scan " + s.strId + " have precision \"" + precision +
           "\"; 32 or 64 is expected");
      return;
    }
    const char* order = Attr(atts, "byteOrder");
    array_.encoding.bBigEndian = !order || std::strcmp(order, "little") != 0;
    const char* compression = Attr(atts, "compressionType");
    if (compression && std::strcmp(compression, "zlib") == 0) {
      array_.encoding.bZlib = true;
    } else if (compression && std::strcmp(compression, "none") != 0) {
      Fail(path_ + ": the peaks of scan " + s.strId + " use compression \"" + compression +
           "\"; this reader decodes \"zlib\" and \"none\"");
      return;
    }
    long n;
    if (const char* v = Attr(atts, "compressedLen"); v && ParseLong(v, &n) && n > 0 &&
        array_.encoding.bZlib) {
      array_.nCompressedLength = n;
    }
    array_.offset = TextStart();
  }

  void EndPeaks() {
    if (peaksIgnored_) return;
    SpectrumMeta& s = Cur();
    std::uint64_t end = Here();
    array_.length = end > array_.offset ? end - array_.offset : 0;
    array_.bPresent = true;
    s.mz = array_;  // its count: two values per peak the scan declares
  }

  // ---- after the pass ----

  void Resolve() {
    auto& spectra = t_->spectra;
    const std::size_t n = spectra.size();
    // Scan numbers: from the ids when they give a unique positive number to
    // every spectrum, else the position in the file, from 1. Numbers beyond
    // what an int holds (the engine's scan numbers are ints) count as none,
    // with a warning: a file that has them is numbered by position.
    bool fromIds = true;
    {
      std::unordered_set<long> seen;
      const SpectrumMeta* tooLarge = nullptr;
      for (auto& s : spectra) {
        long num = 0;
        if (t_->format == FileFormat::kMzml) {
          num = ScanNumberFromId(s.strId);
        } else if (!ParseLong(s.strId, &num)) {
          num = 0;
        }
        s.nScan = num;
        if (num > INT_MAX && !tooLarge) tooLarge = &s;
        if (num <= 0 || num > INT_MAX || !seen.insert(num).second) fromIds = false;
      }
      if (tooLarge) {
        ShowWarning(path_ + ": " + SpectrumPlace(t_->format, *tooLarge) + ": scan number " +
                    std::to_string(tooLarge->nScan) + " is above " + std::to_string(INT_MAX) +
                    "; the spectra are numbered by their position in the file");
      }
    }
    if (!fromIds) {
      for (std::size_t i = 0; i < n; ++i) spectra[i].nScan = static_cast<long>(i + 1);
    }
    // Prior scans: the spectrum the precursor names, else (mzXML) the scan
    // this one is nested in, else the last spectrum of the level below in
    // retention time (file order when times are missing).
    std::unordered_map<std::string, int> byId;
    byId.reserve(n);
    for (std::size_t i = 0; i < n; ++i) byId.emplace(spectra[i].strId, static_cast<int>(i));
    int maxLevel = 0;  // at most kMaxMsLevel: Finish refuses the spectra beyond
    for (const auto& s : spectra) maxLevel = std::max(maxLevel, std::min(s.nMsLevel, kMaxMsLevel));
    // Per level: (time, position) of the spectra that have a time, sorted.
    std::vector<std::vector<std::pair<double, int>>> byTime(static_cast<std::size_t>(maxLevel) + 1);
    for (std::size_t i = 0; i < n; ++i) {
      const auto& s = spectra[i];
      if (s.nMsLevel >= 1 && s.nMsLevel <= maxLevel && s.retentionTime.bSet) {
        byTime[static_cast<std::size_t>(s.nMsLevel)].emplace_back(s.retentionTime.dValue, static_cast<int>(i));
      }
    }
    for (auto& v : byTime) std::sort(v.begin(), v.end());
    std::vector<int> lastOfLevel(static_cast<std::size_t>(maxLevel) + 1, -1);
    for (std::size_t i = 0; i < n; ++i) {
      auto& s = spectra[i];
      const int self = static_cast<int>(i);
      if (s.nMsLevel >= 2 && s.nMsLevel <= maxLevel) {
        int prior = -1;
        if (!s.strRef.empty()) {
          auto it = byId.find(s.strRef);
          if (it != byId.end() && it->second != self) prior = it->second;
        }
        if (prior < 0 && s.nNestedParent >= 0) prior = s.nNestedParent;
        if (prior < 0) {
          const auto& candidates = byTime[static_cast<std::size_t>(s.nMsLevel - 1)];
          if (s.retentionTime.bSet && !candidates.empty()) {
            auto it = std::lower_bound(candidates.begin(), candidates.end(),
                                       std::make_pair(s.retentionTime.dValue, self));
            if (it != candidates.begin()) prior = (it - 1)->second;
          } else {
            prior = lastOfLevel[static_cast<std::size_t>(s.nMsLevel - 1)];
          }
        }
        s.nPriorIndex = prior;
      }
      if (s.nMsLevel >= 1 && s.nMsLevel <= maxLevel) lastOfLevel[static_cast<std::size_t>(s.nMsLevel)] = self;
      s.strRef.clear();
      s.strRef.shrink_to_fit();
    }
  }

  ScanTable* t_;
  std::string path_;
  XML_Parser parser_ = nullptr;
  std::vector<El> stack_;
  std::array<long, static_cast<std::size_t>(El::kCount)> open_{};  // open elements of each kind
  int skip_ = 0;
  bool sawRoot_ = false;
  bool done_ = false;
  std::string error_;
  bool collect_ = false;
  bool textCut_ = false;
  std::string text_;
  // mzML
  std::unordered_map<std::string, std::vector<Param>> groups_;
  std::string groupId_;
  bool inInstrument_ = false;
  std::string defaultRef_;
  std::string instrumentRef_;
  int cur_ = -1;
  int levelHint_ = 0;
  int trailerCharge_ = 0;
  Precursor prec_;
  OptionalValue precSelected_;
  OptionalValue precIsolation_;
  std::string precSelectedText_;
  std::string precIsolationText_;
  int precCharge_ = 0;
  int precPossibleMin_ = 0;
  std::vector<int> precCharges_;
  double precIntensity_ = 0.0;
  OptionalValue precLower_;
  OptionalValue precUpper_;

  // A stated charge (ReadCharge took it), once; a charge of 0 states nothing.
  void AddCharge(long z) {
    if (z <= 0 || z > kMaxCharge) return;
    if (std::find(precCharges_.begin(), precCharges_.end(), static_cast<int>(z)) == precCharges_.end())
      precCharges_.push_back(static_cast<int>(z));
  }
  ArrayText array_;
  int arrayRole_ = 0;  // 1 m/z, 2 intensity
  bool arrayNumpress_ = false;
  // mzXML
  std::vector<int> scanStack_;
  double collisionEnergy_ = 0.0;
  bool peaksIgnored_ = false;
};

}  // namespace

void ScanFile(ByteSource& source, const std::string& path, ScanTable* table) {
  *table = ScanTable{};
  Scanner scanner(table, path);
  scanner.Run(source);
}

std::string SpectrumPlace(FileFormat format, const SpectrumMeta& s) {
  return format == FileFormat::kMzml ? "spectrum \"" + s.strId + "\"" : "scan " + s.strId;
}

long ScanNumberFromId(const std::string& id) {
  // Keys in order of preference; an id is a list of key=value pairs.
  static const char* kKeys[] = {"scan", "scanId", "spectrum", "index"};
  std::string_view text(id);
  for (const char* key : kKeys) {
    std::size_t pos = 0;
    const std::size_t keyLen = std::strlen(key);
    while ((pos = text.find(key, pos)) != std::string_view::npos) {
      bool startOk = pos == 0 || text[pos - 1] == ' ';
      std::size_t eq = pos + keyLen;
      if (startOk && eq < text.size() && text[eq] == '=') {
        std::size_t end = text.find(' ', eq + 1);
        long value;
        if (ParseLong(text.substr(eq + 1, end == std::string_view::npos ? end : end - eq - 1), &value)) {
          if (std::strcmp(key, "index") != 0) return value;
          return value >= 0 && value < LONG_MAX ? value + 1 : 0;
        }
      }
      pos = eq;
    }
  }
  return 0;
}

bool ParseDurationSeconds(const std::string& text, double* seconds) {
  // The common "PT<seconds>S" exactly; anything else through the minutes.
  std::string_view s = Trim(text);
  if (s.size() > 3 && s.substr(0, 2) == "PT" && s.back() == 'S' &&
      s.find_first_of("HMD") == std::string_view::npos) {
    return ParseDouble(s.substr(2, s.size() - 3), seconds);
  }
  double minutes = 0.0;
  if (!ParseDuration(text, &minutes)) return false;
  *seconds = RoundedSeconds(minutes * 60.0);
  return true;
}

bool ParseDuration(const std::string& text, double* minutes) {
  std::string_view s = Trim(text);
  bool negative = false;
  if (!s.empty() && s.front() == '-') {
    negative = true;
    s.remove_prefix(1);
  }
  if (s.size() < 3 || s.front() != 'P') return false;
  s.remove_prefix(1);
  double total = 0.0;
  bool inTime = false;
  bool any = false;
  while (!s.empty()) {
    if (s.front() == 'T') {
      inTime = true;
      s.remove_prefix(1);
      continue;
    }
    std::size_t i = 0;
    while (i < s.size() && (std::isdigit(static_cast<unsigned char>(s[i])) || s[i] == '.')) ++i;
    if (i == 0 || i == s.size()) return false;
    double v;
    if (!ParseDouble(s.substr(0, i), &v)) return false;
    char unit = s[i];
    if (!inTime && unit == 'D') {
      total += v * 1440.0;
    } else if (inTime && unit == 'H') {
      total += v * 60.0;
    } else if (inTime && unit == 'M') {
      total += v;
    } else if (inTime && unit == 'S') {
      total += v / 60.0;
    } else {
      return false;
    }
    any = true;
    s.remove_prefix(i + 1);
  }
  if (!any) return false;
  *minutes = negative ? -total : total;
  return true;
}

}  // namespace orvane::readers
