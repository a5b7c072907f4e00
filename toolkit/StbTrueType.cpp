// The one place where the library's code is compiled.
#define STB_TRUETYPE_IMPLEMENTATION
#include <stb/stb_truetype.h>
