// Carries the headers that all tests share, which are read once for them.
