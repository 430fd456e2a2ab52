#pragma once

namespace tallyrig {

// 128-bit integers, for products of times and ratios that must stay exact.
__extension__ typedef __int128 Int128;
__extension__ typedef unsigned __int128 UInt128;

}  // namespace tallyrig
