% Writes octave_reference.txt: expected values for the signal-processing
% tests, computed independently with GNU Octave and its signal package.
%
%   cd tests/tonalith/reference && octave-cli make_reference.m
%
% Needs the Debian packages octave and octave-signal (on a developer's machine
% only; neither the product nor CI uses them). The file is a list of named
% arrays: a line "name count", then the count values one a line, in full
% precision; the tests read it at run time.
pkg load signal

rand("seed", 20240517);
out = fopen("octave_reference.txt", "w");

function put(out, name, v)
  fprintf(out, "%s %d\n", name, numel(v));
  if numel(v) > 0
    fprintf(out, "%.17g\n", v);
  end
end

% --- A signal with peaks and noise, used by several tables ---------------
x = zeros(1, 200);
x(20) = 50; x(21) = 20; x(60) = 80; x(61) = 30; x(62) = 10; x(100) = 40;
x = x + 5 * rand(1, 200);
x(150:160) = 0;
put(out, "kSignal", x);

% --- ApplyFilter: filter(b, a, x) with a[0] != 1 --------------------------
b = [0.5, -0.3, 0.2, 0.1];
a = [2.0, -0.8, 0.3];
put(out, "kFilterB", b);
put(out, "kFilterA", a);
put(out, "kFilterOut", filter(b, a, x));

% --- Band-stop: butter(2, [f1 f2], "stop"), edges 0.1 apart placed so that
% --- the notch falls on c = 0.5 ... 0.9 (tan^2(pi c/2) = tan(pi f1/2) tan(pi f2/2))
for s = 0:4
  c = 0.5 + 0.1 * s;
  f1 = fzero(@(f) tan(pi * f / 2) * tan(pi * (f + 0.1) / 2) - tan(pi * c / 2)^2, [c - 0.2, c]);
  [bb, aa] = butter(2, [f1, f1 + 0.1], "stop");
  put(out, sprintf("kBandStopEdge%d", s), f1);
  put(out, sprintf("kBandStopB%d", s), bb);
  put(out, sprintf("kBandStopA%d", s), aa);
  put(out, sprintf("kBandStopOut%d", s), filter(bb, aa, x));
end

% --- Median filter, zero padding, widths 2 ... 9 --------------------------
m = round(20 * rand(1, 30) - 8);
put(out, "kMedianIn", m);
for w = 2:9
  put(out, sprintf("kMedian%d", w), medfilt1(m, w, "zeropad"));
end

% --- Y-filter: the same Yule-Walker design written with Octave's own
% --- toeplitz, backslash, roots/polystab, filter and fft; |H| on 512 points.
function [f, g] = notch_corners(h, medianLength, harmonics, width)
  H = floor(medianLength / 2); t = 0.1 * h; w = width * h * 0.5;
  f = [0]; g = [1];
  k = 1;
  while k < harmonics
    c = k * 2 * h; lo = c - w; hi = c + w;
    f(end+1) = (lo - t) / H; g(end+1) = 1;
    f(end+1) = lo / H; g(end+1) = 0;
    if harmonics - 1 > k
      f(end+1) = min((hi - t) / H, 1); g(end+1) = 0;
      f(end+1) = min(hi / H, 1); g(end+1) = 1;
    else
      f(end+1) = 1; g(end+1) = 0;
      break;
    end
    k++;
  end
end

function ok = stable(a)
  a = a / a(1); ok = true;
  for n = numel(a)-1:-1:1
    k = a(n+1);
    if abs(k) >= 1, ok = false; return; end
    a = (a(1:n) - k * fliplr(a(2:n+1))) / (1 - k^2);
  end
end

function [B, A] = yule_walker(n, f, g)
  npt = 4096; N = 2 * npt;
  Ht = interp1(f, g, (0:npt) / npt, "linear");
  R = real(ifft([Ht Ht(npt:-1:2)].^2));
  nr = 4 * n;
  R = R(1:nr) .* (0.54 + 0.46 * cos(pi * (0:nr-1) / (nr-1)));
  a = toeplitz(R(n+1:nr-1), R(n+1:-1:2)) \ (-R(n+2:nr)).';
  A = [1 a.'];
  if !stable(A), A = polystab(A); end
  g1 = filter(1, A, [1 zeros(1, nr-1)]);
  Q = (toeplitz(g1(:), [g1(1) zeros(1, n)]) \ [R(1)/2 R(2:nr)].').';
  S = abs(2 * real(fft(Q, N) ./ fft(A, N)));
  c = real(ifft(log(max(S, 1e-10 * max(S)))));
  w = [0.5 ones(1, npt-1) 0.5 zeros(1, npt-1)];
  h = real(ifft(exp(fft(w .* c))));
  g2 = filter(1, A, [1 zeros(1, nr)]);
  B = (toeplitz(g2(:), [g2(1) zeros(1, n)]) \ h(1:nr+1).').';
end

% Three notch curves of the de-isotoping, then two curves whose first
% denominator has roots outside the unit circle.
cases = {[50 2048 10.5 0.5], [25 2048 20.5 0.5], [40 2048 13 0.6], ...
         {[0 0.025 0.21 0.38 1], [0 1 0 0 0]}, ...
         {[0 0.42 0.45 0.78 0.79 0.86 1], [1 1 1 1 0 1 1]}};
for i = 1:numel(cases)
  cs = cases{i};
  if iscell(cs)
    f = cs{1}; g = cs{2};
  else
    [f, g] = notch_corners(cs(1), cs(2), cs(3), cs(4));
  end
  [B, A] = yule_walker(numel(f), f, g);
  put(out, sprintf("kYFilterFreq%d", i - 1), f);
  put(out, sprintf("kYFilterGain%d", i - 1), g);
  put(out, sprintf("kYFilterMagnitude%d", i - 1), abs(freqz(B, A, 512)));
end

fclose(out);
