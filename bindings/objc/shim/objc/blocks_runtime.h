// GNUstep's headers include this name when the compiler has blocks; Debian's blocks runtime
// declares the same functions in <Block.h>.
#pragma once
#include <Block.h>
