#!/usr/bin/env python3
"""Count target PSMs in a Comet tab-delimited result (output_txtfile = 1).

    bench/comet_fdr.py [--decoy-prefix DECOY_] [--fdr 0.01] [--evalue 0.01] RESULT.txt

Prints one line, two numbers separated by a tab:

    <targets with e-value below --evalue>  <targets at q-value <= --fdr>

Every query Comet reports (a spectrum at one precursor charge, one line per
scan and charge) counts once, with its top hit (num = 1). A hit is a decoy when
all its proteins start with the decoy prefix; a peptide Comet also found in a
target protein counts as a target. Target-decoy competition is Comet's own: the
concatenated search keeps one best hit per query.

The q-value walks the hits from the lowest e-value up: at each e-value,
q = decoys / targets among the hits at or below it, then q is made monotone
(running minimum from the worst hit upwards). Hits of equal e-value share
their q-value.
"""
import argparse
import sys


def read_top_hits(path):
    """(e-value, is_decoy proteins list) of the num = 1 line of each query."""
    with open(path, encoding="utf-8", errors="replace") as f:
        lines = f.read().splitlines()
    # Line 1 is "CometVersion ... <base> <date> <database>", line 2 the column names.
    header_at = next((i for i, l in enumerate(lines[:5]) if l.startswith("scan\t")), None)
    if header_at is None:
        sys.exit(f"{path}: no Comet column header (scan\\tnum\\t...)")
    cols = lines[header_at].rstrip("\t").split("\t")
    try:
        i_num, i_ev, i_prot = cols.index("num"), cols.index("e-value"), cols.index("protein")
    except ValueError as e:
        sys.exit(f"{path}: missing column: {e}")
    hits = []
    for line in lines[header_at + 1:]:
        if not line.strip():
            continue
        f = line.split("\t")
        if len(f) <= max(i_num, i_ev, i_prot) or f[i_num] != "1":
            continue
        hits.append((float(f[i_ev]), f[i_prot].split(",")))
    return hits


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--decoy-prefix", default="DECOY_")
    ap.add_argument("--fdr", type=float, default=0.01)
    ap.add_argument("--evalue", type=float, default=0.01)
    ap.add_argument("result")
    a = ap.parse_args()

    hits = [(ev, all(p.startswith(a.decoy_prefix) for p in prots))
            for ev, prots in read_top_hits(a.result)]
    hits.sort(key=lambda h: h[0])

    by_evalue = sum(1 for ev, decoy in hits if not decoy and ev < a.evalue)

    # q at each distinct e-value: decoys / targets at or below it.
    steps = []  # (targets so far, q)
    targets = decoys = 0
    for i, (ev, decoy) in enumerate(hits):
        if decoy:
            decoys += 1
        else:
            targets += 1
        if i + 1 == len(hits) or hits[i + 1][0] != ev:
            steps.append((targets, decoys / targets if targets else float("inf")))
    # Monotone q: running minimum from the bottom; the deepest step that passes wins.
    best = float("inf")
    by_fdr = 0
    for t, q in reversed(steps):
        best = min(best, q)
        if best <= a.fdr:
            by_fdr = t
            break
    print(f"{by_evalue}\t{by_fdr}")


if __name__ == "__main__":
    main()
