#!/usr/bin/env python3
"""The summary table of the workflow: a row per run.

    summary.py --out RESULTS --fdr-tool comet_fdr.py RUN...

Reads RESULTS/counts/RUN.{input,cleaned}.tsv (lines of `orvane info`) and,
where they exist, RESULTS/comet/RUN.{input,cleaned}.txt (Comet's text
results), and prints a tab-separated table: run, spectra and peaks before and
after cleaning, and the target PSMs at 1% FDR before and after ("-" without
a search).
"""
import argparse
import os
import subprocess
import sys


def counts(path):
    """(spectra, peaks) of the `orvane info` line of an MGF file."""
    with open(path) as f:
        fields = dict(kv.split("=", 1) for kv in f.readline().rstrip("\n").split("\t")[1:] if "=" in kv)
    return int(fields.get("spectra", 0)), int(fields.get("peaks", 0))


def psms(fdr_tool, path):
    """Target PSMs at 1% FDR of a Comet result, or "-" when there is none."""
    if not os.path.exists(path):
        return "-"
    out = subprocess.run([sys.executable, fdr_tool, path], check=True, capture_output=True, text=True).stdout
    return out.split()[1]


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--out", required=True)
    ap.add_argument("--fdr-tool", required=True)
    ap.add_argument("runs", nargs="+")
    a = ap.parse_args()
    print("run\tspectra_in\tpeaks_in\tspectra_cleaned\tpeaks_cleaned\tpsms_in\tpsms_cleaned")
    for run in a.runs:
        s_in, p_in = counts(os.path.join(a.out, "counts", f"{run}.input.tsv"))
        s_out, p_out = counts(os.path.join(a.out, "counts", f"{run}.cleaned.tsv"))
        found = [psms(a.fdr_tool, os.path.join(a.out, "comet", f"{run}.{stage}.txt")) for stage in ("input", "cleaned")]
        print("\t".join(map(str, [run, s_in, p_in, s_out, p_out, *found])))


if __name__ == "__main__":
    main()
