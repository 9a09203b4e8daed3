// Converting between the two peak-list formats: a list of DTA files into one
// MGF file, and an MGF file into one DTA file per spectrum.
//
// These are the places where the parent mass changes its meaning: a DTA
// header holds MH+, an MGF PEPMASS holds m/z, and the proton mass bridges the
// two for a spectrum of charge z above 1.

#include <sys/stat.h>

#include <set>
#include <string>

#include "frame/interfaces.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "raw/conversions.h"
#include "spectrum/dta.h"
#include "spectrum/file_path.h"

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
  if (!IsProtectedInput(output) && !SameFile(output, input)) return false;
  ShowPlain(Format("Can't write %s: it is an input of this run and is never written.",
                   output.c_str()));
  return true;
}

MgfDialect DialectOf(IUnknown* pSelf) {
  MgfDialect dialect = MgfDialect::Classic;
  IMgfDialect* pDialect = nullptr;
  if (SUCCEEDED(pSelf->QueryInterface(IID_IMgfDialect, reinterpret_cast<void**>(&pDialect))) &&
      pDialect != nullptr) {
    if (FAILED(pDialect->GetMgfDialect(&dialect))) dialect = MgfDialect::Classic;
    pDialect->Release();
  }
  return dialect;
}

// A classic title is taken as the file name as it stands, but it must not
// lead out of the output folder.
bool IsUsableTitle(const std::string& title) {
  return !title.empty() && title != "." && title != ".." &&
         title.find_first_of("/\\") == std::string::npos;
}

// File names from modern titles ("spectrum=2442", titles with blanks, quotes
// and paths): every character other than a letter, digit, ".", "_" or "-"
// becomes "_", and so does a leading "." (no hidden files, no "."/".."); an
// empty title gives "_". The name is cut to 200 characters and ends in
// ".dta" (added unless it is there). A name that this run has used already
// gets "_2", "_3", ... in front of the ".dta".
class SafeNames {
 public:
  std::string Make(const std::string& title) {
    std::string stem;
    stem.reserve(title.size());
    for (char c : title) {
      const bool keep = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                        c == '.' || c == '_' || c == '-';
      stem += keep ? c : '_';
    }
    if (!stem.empty() && stem[0] == '.') stem[0] = '_';
    if (stem.empty()) stem = "_";
    static constexpr std::string_view kExt = ".dta";
    if (stem.size() >= kExt.size() && stem.compare(stem.size() - kExt.size(), kExt.size(), kExt) == 0)
      stem.resize(stem.size() - kExt.size());
    if (stem.empty()) stem = "_";
    if (stem.size() > kMaxStem) stem.resize(kMaxStem);
    std::string name = stem + ".dta";
    for (unsigned k = 2; used_.count(name) != 0; ++k) name = stem + "_" + std::to_string(k) + ".dta";
    used_.insert(name);
    return name;
  }

 private:
  static constexpr std::size_t kMaxStem = 200;
  std::set<std::string> used_;
};

}  // namespace

HRESULT DtaFolderToMgf(IUnknown* pSelf, StringList* pFiles, const std::string& strOutputFolder,
                       CWnd* pProgressWnd) {
  if (pFiles == nullptr || pFiles->empty()) return S_FALSE;
  NullWindow noWindow;
  CWnd* pWnd = pProgressWnd != nullptr ? pProgressWnd : &noWindow;

  ComPtr<IImportMSMS> pImport;
  if (FAILED(QueryOrNote(pSelf, IID_IImportMSMS, kNoImportInterface,
                         pImport)))
    return E_NOINTERFACE;
  ComPtr<IExportMSMS> pExport;
  if (FAILED(QueryOrNote(pSelf, IID_IExportMSMS, kNoExportInterface,
                         pExport)))
    return E_NOINTERFACE;

  // run1.100.100.2.dta gives run1.mgf; a title without a dot an empty name,
  // so the file is ".mgf". The modern dialect names it after the whole title
  // then (spectrum_2442.dta gives spectrum_2442.mgf).
  const std::string title = FilePath(pFiles->front()).GetFileTitle();
  const std::size_t dot = title.find('.');
  std::string name = dot == std::string::npos ? std::string() : title.substr(0, dot);
  const MgfDialect dialect = DialectOf(pSelf);
  if (dot == std::string::npos && dialect == MgfDialect::Modern) name = title;
  const std::string outputPath = strOutputFolder + name + ".mgf";
  for (const std::string& input : *pFiles)
    if (RefuseInputAsOutput(outputPath, input)) return E_UNEXPECTED;

  CStdioFile output;
  CFileException error;
  if (!output.Open(outputPath, CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::typeText,
                   &error)) {
    error.ReportError();
    return E_UNEXPECTED;
  }

  pWnd->Send(PM_STEP_TOTAL, static_cast<WPARAM>(pFiles->size()), 0);
  HRESULT hr = S_OK;
  WPARAM done = 0;
  Dta dta;
  try {
    for (const std::string& path : *pFiles) {
      dta.Clear();
      pWnd->Send(PM_STEP_BEGIN, TextWParam(path.c_str()), 0);
      // A file that can't be read has shown its box in ImportDta.
      hr = pImport->ImportDta(path.c_str(), &dta);
      if (hr == S_OK) {
        DtaMhToMz(&dta, dialect);
        pExport->ExportMgf(&output, &dta, 2, std::string());
      }
      pWnd->Send(PM_STEP_DONE, ++done, 0);
    }
    output.Close();
  } catch (const CFileException& e) {
    e.ReportError();
    output.Abort();
    return E_UNEXPECTED;
  }
  // The result is that of the last file: a failure in the middle of the list
  // has been shown, and leaves no trace here.
  return hr;
}

HRESULT MgfToDta(IUnknown* pSelf, const std::string& strMgfFile, const std::string& strOutputFolder,
                 CWnd* pProgressWnd) {
  NullWindow noWindow;
  CWnd* pWnd = pProgressWnd != nullptr ? pProgressWnd : &noWindow;

  ComPtr<IImportMSMS> pImport;
  if (FAILED(QueryOrNote(pSelf, IID_IImportMSMS, kNoImportInterface,
                         pImport)))
    return E_NOINTERFACE;
  ComPtr<IExportMSMS> pExport;
  if (FAILED(QueryOrNote(pSelf, IID_IExportMSMS, kNoExportInterface,
                         pExport)))
    return E_NOINTERFACE;
  const MgfDialect dialect = DialectOf(pSelf);
  const bool modern = dialect == MgfDialect::Modern;

  CStdioFile input;
  CFileException error;
  if (!input.Open(strMgfFile, CStdioFile::modeRead | CStdioFile::shareDenyWrite | CStdioFile::typeText,
                  &error)) {
    error.ReportError();
    return E_UNEXPECTED;
  }
  pWnd->Send(PM_STEP_TOTAL, static_cast<WPARAM>(input.GetLength()), 0);

  SafeNames safeNames;
  Dta dta;
  HRESULT hr = S_OK;
  do {
    dta.Clear();
    hr = pImport->ImportMgf(&input, &dta);
    if (hr == S_OK) {
      DtaMzToMh(&dta, dialect);
      std::string name;
      if (modern) {
        name = safeNames.Make(dta.strTitle);
      } else if (IsUsableTitle(dta.strTitle)) {
        name = dta.strTitle;
      } else {
        ShowPlain(Format("The spectrum title \"%s\" is not a file name inside the output folder; "
                         "the spectrum is skipped.",
                         dta.strTitle.c_str()));
      }
      if (!name.empty()) {
        const std::string path = strOutputFolder + name;
        // A failed write has shown its box; the next spectrum goes on.
        if (!RefuseInputAsOutput(path, strMgfFile)) pExport->ExportDta(path.c_str(), &dta, 2);
      }
    }
    pWnd->Send(PM_STEP_DONE, static_cast<WPARAM>(input.GetPosition() & 0xFFFFFFFFu), 0);
  } while (hr == S_OK);
  input.Close();
  // S_FALSE, the end of the file, is the normal result.
  return hr;
}

}  // namespace orvane
