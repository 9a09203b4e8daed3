#!/usr/bin/env bash
# Writes the man page of orvane to standard output, made from its own help
# texts, so the page and `orvane help` can't part.
#
#   scripts/make-manpage.sh ORVANE VERSION > orvane.1
set -euo pipefail
orvane=$1
version=$2

# Help text as troff that keeps its layout: backslashes doubled, and a line
# that starts with "." or "'" protected from being read as a request.
verbatim() {
  echo ".nf"
  sed -e 's/\\/\\e/g' -e "s/^\([.']\)/\\\\\&\1/"
  echo ".fi"
}

cat <<HEAD
.TH ORVANE 1 "" "orvane $version" "User Commands"
.SH NAME
orvane \\- clean tandem mass spectrometry (MS/MS) peak lists
.SH SYNOPSIS
.B orvane
.I COMMAND
[\\fIOPTIONS\\fR] \\fIINPUT\\fR...
.br
.B orvane help
[\\fICOMMAND\\fR]
.SH DESCRIPTION
HEAD
"$orvane" --help | verbatim
for command in clean convert info params; do
  echo ".SH \"ORVANE ${command^^}\""
  "$orvane" help "$command" | verbatim
done
cat <<'TAIL'
.SH "EXIT STATUS"
0 done; 1 some input failed (the closing summary names it); 2 usage error, nothing done;
130 stopped by SIGINT or SIGTERM.
.SH "SEE ALSO"
The README of the project, for what cleaning writes and the figures behind the defaults.
TAIL
