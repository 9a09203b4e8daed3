#!/usr/bin/env python3
"""Writes the damaged and hostile inputs of the golden cases to standard output.

    hostile.py NAME [DATA_DIR]

Small files are made here rather than stored, so each case shows in a line
what is wrong with its input.
"""
import base64
import gzip
import os
import random
import struct
import sys
import zlib


def b64(values):
    return base64.b64encode(struct.pack("<%dd" % len(values), *values)).decode()


def spectrum(index, scan_id, level, mz, intensity, precursor=None, charge=None,
             length=None, mz_text=None, zlib_mz=False, level_text=None):
    n = len(mz) if length is None else length
    prec = ""
    if precursor is not None:
        stated = ('<cvParam cvRef="MS" accession="MS:1000041" name="charge state" value="%s"/>'
                  % charge) if charge is not None else ""
        prec = ('<precursorList count="1"><precursor><selectedIonList count="1"><selectedIon>'
                '<cvParam cvRef="MS" accession="MS:1000744" name="selected ion m/z" value="%r"/>%s'
                '</selectedIon></selectedIonList></precursor></precursorList>' % (precursor, stated))
    compression = ('<cvParam cvRef="MS" accession="MS:1000574" name="zlib compression" value=""/>'
                   if zlib_mz else
                   '<cvParam cvRef="MS" accession="MS:1000576" name="no compression" value=""/>')
    return (
        '<spectrum index="%d" id="scan=%s" defaultArrayLength="%d">\n'
        '<cvParam cvRef="MS" accession="MS:1000511" name="ms level" value="%s"/>\n%s\n'
        '<binaryDataArrayList count="2">\n'
        '<binaryDataArray><cvParam cvRef="MS" accession="MS:1000523" name="64-bit float" value=""/>%s'
        '<cvParam cvRef="MS" accession="MS:1000514" name="m/z array" value=""/><binary>%s</binary></binaryDataArray>\n'
        '<binaryDataArray><cvParam cvRef="MS" accession="MS:1000523" name="64-bit float" value=""/>'
        '<cvParam cvRef="MS" accession="MS:1000576" name="no compression" value=""/>'
        '<cvParam cvRef="MS" accession="MS:1000515" name="intensity array" value=""/><binary>%s</binary></binaryDataArray>\n'
        '</binaryDataArrayList></spectrum>\n'
        % (index, scan_id, n, level_text or level, prec, compression,
           mz_text if mz_text is not None else b64(mz), b64(intensity)))


def mzml(spectra):
    return ('<?xml version="1.0" encoding="utf-8"?>\n<mzML xmlns="http://psi.hupo.org/ms/mzml" '
            'version="1.1.0"><run id="r"><spectrumList count="%d">\n%s</spectrumList></run></mzML>\n'
            % (len(spectra), "".join(spectra)))


MZ = [100.0 + i * 37.1 for i in range(20)]
INTENSITY = [1000.0 + i for i in range(20)]
PEAKS = list(zip(MZ, INTENSITY))


def block(title, pepmass, peaks, charge="2+", end=True):
    text = "BEGIN IONS\nTITLE=%s\nPEPMASS=%s\n" % (title, pepmass)
    if charge:
        text += "CHARGE=%s\n" % charge
    text += "".join("%s %s\n" % (m, i) for m, i in peaks)
    return text + ("END IONS\n" if end else "")


def bsa_bad_base64(data):
    # One character of the first m/z array of an MS2 spectrum past the start.
    text = open(data + "/bsa/BSA1.mzML").read()
    at = text.find('name="ms level" value="2"', len(text) // 30)
    at = text.find("<binary>", at) + 8
    return text[:at + 5] + "!" + text[at + 6:]


def damaged_fixture(data):
    # One character of the m/z array of the scan "... scan=4" of a small fixture.
    text = open(os.environ["SOURCE"] + "/tests/readers/fixtures/yeast_plain.mzML").read()
    at = text.find("<binary>", text.find('scan=4"')) + 8
    return text[:at + 5] + "*" + text[at + 6:]


def random_blocks(data):
    # Peaks without isotope spacing, which the de-isotoping calls bad.
    rng = random.Random(5)
    return "".join(block("random.%d" % n, "600.5", sorted((round(rng.uniform(150, 1200), 4), rng.randint(1, 999))
                                                          for _ in range(60))) for n in range(3))


CASES = {
    "damaged_fixture": damaged_fixture,
    "random_blocks": random_blocks,
    "nested_spectrum": lambda d: ('<mzML><run><spectrumList><spectrum id="scan=1"><spectrum id="scan=2">'
                                  '</spectrum></spectrum></spectrumList></run></mzML>'),
    "huge_scan_numbers": lambda d: mzml([spectrum(0, 1, 2, MZ, INTENSITY, 500.25, 2),
                                         spectrum(1, 9000000000000000000, 2, MZ, INTENSITY, 500.25, 2)]),
    "far_scan_numbers": lambda d: mzml([spectrum(0, 1, 2, MZ, INTENSITY, 500.25, 2),
                                        spectrum(1, 2000000000, 2, MZ, INTENSITY, 500.25, 2)]),
    "huge_ms_level": lambda d: mzml([spectrum(0, 1, 2, MZ, INTENSITY, 500.25, 2),
                                     spectrum(1, 2, 100000000, MZ, INTENSITY, 500.25, 2)]),
    "huge_array_length": lambda d: mzml([spectrum(0, 1, 2, MZ, INTENSITY, 500.25, 2, length=200000000)]),
    "zlib_bomb": lambda d: mzml([spectrum(0, 1, 2, MZ, INTENSITY, 500.25, 2, zlib_mz=True,
                                          mz_text=base64.b64encode(zlib.compress(b"\0" * (400 << 20), 9)).decode())]),
    "huge_peaks_count": lambda d: ('<?xml version="1.0"?><mzXML><msRun><scan num="1" msLevel="2" '
                                   'peaksCount="4611686018427387904"><precursorMz precursorCharge="2">500.25'
                                   '</precursorMz><peaks precision="32" byteOrder="network" '
                                   'contentType="m/z-int">AAAA</peaks></scan></msRun></mzXML>'),
    "bsa_bad_base64": bsa_bad_base64,
    "wide_within_limit": lambda d: block("wide", "500.25", [(1, 10), (2, 10), (30000, 10), (99999, 10)]),
    "wide_range": lambda d: block("wide", "500.25", [(1, 10), (2, 10), (500000, 10), (999000, 10)]),
    "unusable_values": lambda d: (block("fine", "500.25", PEAKS)
                                  + block("nan", "500.25", PEAKS[:5] + [("nan", "10")] + PEAKS[5:])
                                  + block("inf", "500.25", PEAKS[:5] + [("150", "inf")] + PEAKS[5:])
                                  + block("negative", "500.25", PEAKS[:5] + [("-3", "10"), ("160", "-1")] + PEAKS[5:])
                                  + block("reversed", "500.25", list(reversed(PEAKS)))
                                  + block("charge 0", "500.25", PEAKS, charge="0")
                                  + block("charge absurd", "500.25", PEAKS, charge="250+")
                                  + block("no pepmass", "0", PEAKS)),
    "unterminated": lambda d: (block("one", "500.25", PEAKS) + block("two", "500.25", PEAKS, end=False)
                               + block("three", "500.25", PEAKS) + block("four", "500.25", PEAKS, end=False)),
    "charge_lists": lambda d: ("CHARGE=3+\n" + block("comma", "500.25", PEAKS, charge="2+,3+")
                               + block("and", "500.25", PEAKS, charge="2+ and 3+")
                               + block("default", "500.25", PEAKS, charge=None)),
    "same_titles": lambda d: "".join(block("same", "500.25", PEAKS) for _ in range(5)),
    "title_with_newline": lambda d: block("File: ..,x", "500.25", PEAKS) + block("ok", "500.25", PEAKS),
    "too_few_peaks": lambda d: block("two peaks", "500.25", PEAKS[:2]) + block("one peak", "500.25", PEAKS[:1]),
}


def main():
    name = sys.argv[1]
    data = sys.argv[2] if len(sys.argv) > 2 else ""
    if name == "truncated_gz":
        whole = gzip.compress(CASES["same_titles"](data).encode() * 20, mtime=0)
        sys.stdout.buffer.write(whole[:len(whole) // 2])
        return
    sys.stdout.write(CASES[name](data))


if __name__ == "__main__":
    main()
