// The file-backed raw readers (mzML, mzXML) live in this folder.
namespace orvane::readers {}
