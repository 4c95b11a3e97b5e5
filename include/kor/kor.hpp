// kor — a library of classical numerical methods.  Includes every public header.
#pragma once

#include "kor/dispatch.hpp"
#include "kor/error.hpp"
#include "kor/interpret.hpp"
#include "kor/korvat.hpp"
#include "kor/message.hpp"
#include "kor/safe_array.hpp"
#include "kor/variant.hpp"
