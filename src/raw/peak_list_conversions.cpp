// Converting between the two peak-list formats: a list of DTA files into one
// MGF file, and an MGF file into one DTA file per spectrum.
//
// These are the places where the parent mass changes its meaning: a DTA
// header holds MH+, an MGF PEPMASS holds m/z, and the proton mass bridges the
// two for a spectrum of charge z above 1. A DTA file holds one charge, so the
// modern dialect writes a spectrum that states several ("CHARGE=2+ and 3+")
// once for each of them.

#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "raw/conversions.h"
#include "spectrum/dta.h"
#include "spectrum/dta_file.h"
#include "spectrum/file_path.h"
#include "spectrum/mgf_file.h"

namespace orvane {
namespace {

// A spectrum of charge 1 or 0 keeps its number.
// The modern dialect rounds what it computes to the digits that carry
// meaning; classic keeps the bare arithmetic it always had.
void DtaMhToMz(Dta* pDta, MgfDialect dialect) {
  const int z = pDta->nCharge;
  if (z <= 1) return;
  pDta->dMass = MhToMz(pDta->dMass, z, ProtonOf(dialect));
  if (dialect == MgfDialect::Modern) pDta->dMass = RoundToSignificant(pDta->dMass, kComputedMassDigits);
}

void DtaMzToMh(Dta* pDta, MgfDialect dialect) {
  const int z = pDta->nCharge;
  if (z <= 1) return;
  pDta->dMass = MzToMh(pDta->dMass, z, ProtonOf(dialect));
  if (dialect == MgfDialect::Modern) pDta->dMass = RoundToSignificant(pDta->dMass, kComputedMassDigits);
}

bool SameFile(const std::string& a, const std::string& b) {
  struct stat sa {}, sb {};
  if (::stat(a.c_str(), &sa) != 0 || ::stat(b.c_str(), &sb) != 0) return false;
  return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

// The output must never be one of the inputs.
bool RefuseInputAsOutput(const std::string& output, const std::string& input) {
  if (output == "-" || (!IsProtectedInput(output) && !SameFile(output, input))) return false;
  ShowPlain(Format("Can't write %s: it is an input of this run and is never written.",
                   output.c_str()));
  return true;
}

// A classic title is taken as the file name as it stands, but it must not
// lead out of the output folder.
bool IsUsableTitle(const std::string& title) {
  return !title.empty() && title != "." && title != ".." &&
         title.find_first_of("/\\") == std::string::npos;
}

// A classic title is taken as the file name as it stands, so it must not hold
// a control character (a line break in a file name, say).
bool HasControlCharacter(const std::string& title) {
  return std::any_of(title.begin(), title.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

// The title for a box: control characters written as \n, \t, \xNN, so the
// text stays on one line and shows what the title holds.
std::string Shown(const std::string& title) {
  std::string out;
  for (char c : title) {
    const auto u = static_cast<unsigned char>(c);
    if (c == '\n') out += "\\n";
    else if (c == '\t') out += "\\t";
    else if (c == '\r') out += "\\r";
    else if (u < 0x20 || u == 0x7f) AppendFormat(out, "\\x%02x", u);
    else out += c;
  }
  return out;
}

// File names from modern titles ("spectrum=2442", titles with blanks, quotes
// and paths): every character other than a letter, digit, ".", "_" or "-"
// becomes "_", and so does a leading "." (no hidden files, no "."/".."); an
// empty title gives "_". The name is cut to 200 characters and ends in
// ".dta" (added unless it is there); a charge given goes in front of it
// ("t.2.dta"). A name that this run has used already gets "_2", "_3", ... in
// front of the ".dta".
class SafeNames {
 public:
  std::string Make(const std::string& title, int charge = 0) {
    std::string stem;
    stem.reserve(title.size());
    for (char c : title) {
      const bool keep = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                        c == '.' || c == '_' || c == '-';
      stem += keep ? c : '_';
    }
    if (!stem.empty() && stem[0] == '.') stem[0] = '_';
    if (stem.empty()) stem.push_back('_');
    static constexpr std::string_view kExt = ".dta";
    if (stem.size() >= kExt.size() && stem.compare(stem.size() - kExt.size(), kExt.size(), kExt) == 0)
      stem.resize(stem.size() - kExt.size());
    if (stem.empty()) stem.push_back('_');
    if (stem.size() > kMaxStem) stem.resize(kMaxStem);
    // Built by appending: GCC 12 at -O3 takes the copies of assigning and
    // adding string literals for overlapping ones (a false -Wrestrict).
    if (charge != 0) stem.append(".").append(std::to_string(charge));
    std::string name = stem;
    name.append(".dta");
    for (unsigned k = 2; used_.count(name) != 0; ++k) name = stem, name.append("_").append(std::to_string(k)).append(".dta");
    used_.insert(name);
    return name;
  }

 private:
  static constexpr std::size_t kMaxStem = 200;
  std::set<std::string> used_;
};

}  // namespace

std::string CollectedMgfName(const std::string& strFirstDta, MgfDialect dialect) {
  // run1.100.100.2.dta gives run1.mgf; a title without a dot an empty name,
  // so the file is ".mgf". The modern dialect names it after the whole title
  // then (spectrum_2442.dta gives spectrum_2442.mgf).
  const std::string title = FilePath(strFirstDta).GetFileTitle();
  const std::size_t dot = title.find('.');
  std::string name = dot == std::string::npos ? std::string() : title.substr(0, dot);
  if (dot == std::string::npos && dialect == MgfDialect::Modern) name = title;
  return name + ".mgf";
}

HRESULT DtaFolderToMgf(StringList* pFiles, const std::string& strOutputFolder, CWnd* pProgressWnd,
                       MgfDialect dialect) {
  if (pFiles == nullptr || pFiles->empty()) return S_FALSE;
  return DtaFilesToMgf(pFiles, strOutputFolder + CollectedMgfName(pFiles->front(), dialect), pProgressWnd,
                       dialect);
}

HRESULT DtaFilesToMgf(StringList* pFiles, const std::string& strMgfFile, CWnd* pProgressWnd, MgfDialect dialect,
                      bool bGzip) {
  if (pFiles == nullptr || pFiles->empty()) return S_FALSE;
  NullWindow noWindow;
  CWnd* pWnd = pProgressWnd != nullptr ? pProgressWnd : &noWindow;
  const std::string& outputPath = strMgfFile;
  for (const std::string& input : *pFiles)
    if (RefuseInputAsOutput(outputPath, input)) return E_UNEXPECTED;

  CStdioFile output;
  CFileException error;
  if (!output.Open(outputPath,
                   CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::typeText |
                       (bGzip ? CStdioFile::modeGzip : 0u),
                   &error)) {
    error.ReportError();
    return E_UNEXPECTED;
  }

  pWnd->Send(PM_STEP_TOTAL, static_cast<WPARAM>(pFiles->size()), 0);
  HRESULT hr = S_OK;
  HRESULT firstFailure = S_OK;
  WPARAM done = 0;
  Dta dta;
  try {
    for (const std::string& path : *pFiles) {
      dta.Clear();
      pWnd->Send(PM_STEP_BEGIN, TextWParam(path.c_str()), 0);
      // A file that can't be read, or that the modern dialect refuses, has
      // shown its box in ImportDta.
      hr = ImportDta(path.c_str(), &dta, dialect);
      if (FAILED(hr) && SUCCEEDED(firstFailure)) firstFailure = hr;
      if (hr == S_OK) {
        DtaMhToMz(&dta, dialect);
        ExportMgf(&output, &dta, std::string(), dialect);
      }
      pWnd->Send(PM_STEP_DONE, ++done, 0);
    }
    output.Close();
  } catch (const CFileException& e) {
    e.ReportError();
    output.Abort();
    return E_UNEXPECTED;
  }
  // Classic: the result is that of the last file; a failure in the middle of
  // the list has been shown, and leaves no trace here. Modern: any failed
  // file makes the conversion fail.
  if (dialect == MgfDialect::Modern && FAILED(firstFailure)) return firstFailure;
  return hr;
}

HRESULT MgfToDta(const std::string& strMgfFile, const std::string& strOutputFolder,
                 CWnd* pProgressWnd, MgfDialect dialect) {
  NullWindow noWindow;
  CWnd* pWnd = pProgressWnd != nullptr ? pProgressWnd : &noWindow;

  const bool modern = dialect == MgfDialect::Modern;

  CStdioFile input;
  CFileException error;
  if (!input.Open(strMgfFile, CStdioFile::modeRead | CStdioFile::shareDenyWrite | CStdioFile::typeText,
                  &error)) {
    error.ReportError();
    return E_UNEXPECTED;
  }
  pWnd->Send(PM_STEP_TOTAL, static_cast<WPARAM>(input.GetLength()), 0);

  MgfReader reader(input, dialect);
  SafeNames safeNames;
  std::set<std::string> classicNames;  // the names this run has written
  bool refused = false;
  Dta dta;
  HRESULT hr = S_OK;
  auto write = [&](const std::string& name, Dta& spectrum) {
    const std::string path = strOutputFolder + name;
    // A failed write has shown its box; the next spectrum goes on.
    if (!RefuseInputAsOutput(path, strMgfFile)) ExportDta(path.c_str(), &spectrum, dialect);
  };
  do {
    dta.Clear();
    hr = reader.Next(&dta);
    if (hr == S_OK && modern) {
      if (dta.vCharges.size() < 2) {
        DtaMzToMh(&dta, dialect);
        write(safeNames.Make(dta.strTitle), dta);
      } else {
        const std::vector<std::int32_t> charges = dta.vCharges;
        const double mz = dta.dMass;
        dta.vCharges.clear();
        for (const std::int32_t z : charges) {
          dta.nCharge = z;
          dta.dMass = mz;
          DtaMzToMh(&dta, dialect);
          write(safeNames.Make(dta.strTitle, z), dta);
        }
      }
    } else if (hr == S_OK) {
      DtaMzToMh(&dta, dialect);
      if (!IsUsableTitle(dta.strTitle)) {
        ShowPlain(Format("The spectrum title \"%s\" is not a file name inside the output folder; "
                         "the spectrum is skipped.",
                         dta.strTitle.c_str()));
      } else if (HasControlCharacter(dta.strTitle)) {
        ShowPlain(Format("The spectrum title \"%s\" holds a control character and is no file name; "
                         "the spectrum is skipped.",
                         Shown(dta.strTitle).c_str()));
        refused = true;
      } else if (!classicNames.insert(dta.strTitle).second) {
        ShowPlain(Format("The spectrum title \"%s\" names a file this conversion has written already; "
                         "the spectrum is skipped.",
                         dta.strTitle.c_str()));
        refused = true;
      } else {
        write(dta.strTitle, dta);
      }
    }
    pWnd->Send(PM_STEP_DONE, static_cast<WPARAM>(input.GetPosition() & 0xFFFFFFFFu), 0);
  } while (hr == S_OK);
  input.Close();
  // A read error of the modern dialect has shown its box and fails here.
  if (FAILED(hr)) return hr;
  // Spectra refused (modern: by the reader; classic: titles that would have
  // written over one another, or held control characters) have shown their
  // boxes, and make the conversion fail. Otherwise S_FALSE, the end of the
  // file, is the normal result.
  if (refused || reader.Refused() > 0) return E_FAIL;
  return hr;
}

}  // namespace orvane
