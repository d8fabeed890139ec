#include "checked/Refusal.h"

#include <cstdarg>
#include <cstdio>

namespace {

thread_local char sentence[256];

}  // namespace

fourtap_status fourtap::Refuse(fourtap_status status, char const* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(sentence, sizeof sentence, format, arguments);
  va_end(arguments);
  return status;
}

char const* fourtap_error() { return sentence; }
