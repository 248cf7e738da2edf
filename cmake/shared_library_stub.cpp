// The shared library is the static core linked whole; this unit only gives the target a source.
