// The stand-in for the maker's fallback library. The switch program only names that library among
// those it needs and calls nothing in it, so there is nothing to answer for but being present.

extern "C" [[gnu::visibility("default")]] const char setmac_fallback_standin[] = "stand-in";
