// Profile of the simulated scanner SIM500D. Its sensor sees colours a little mixed.
VERSION
1

// Flatbed colour matrix, by rows
FB
1.06, -0.04, -0.02
-0.03, 1.05, -0.02
-0.01, -0.05, 1.06

// Flatbed tone coefficients: offsets, gains, gammas of red, green, blue
FBCOEFFS_2
0.0, 0.0, 0.0
1.0, 1.0, 1.0
1.0, 1.0, 1.0

// The same for the feeder
ADF
1.06, -0.04, -0.02
-0.03, 1.05, -0.02
-0.01, -0.05, 1.06

// Tone of negatives: offsets, slopes, gammas, density step
NEGCOEFFS
0.0, 0.0, 0.0
1.0, 1.0, 1.0
1.0, 1.0, 1.0
0.069

// Density matrix of negatives: takes back what the film's dyes take of each other's colours
NEG6X3
0.02, 0.02, 0.00, 0.00, 0, 0
0.03, 0.03, 0.03, 0.03, 0, 0
0.01, 0.01, 0.05, 0.05, 0, 0

// Conversion to gray: weights, then offset, gain, gamma
GRAY
0.30, 0.59, 0.11
0.0, 1.0, 1.0

// Sharpening and smoothing
SHARP_SMOOTH
15, 25, 40, 55, 70
0, 15
1

// defaultPhotoResolution, defaultXPAResolution
// negativeCapable, XPAneedsAutoMirror
// grayChannel
// highlight, adfShadow
// scannerGammaFixed, enhancedColorByDefault
// lidColor, adfLidColor
DEFAULTS
200, 300
1, 0
1
1200, 980
0, 1
236, 40
