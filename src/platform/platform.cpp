#include "platform/platform.h"

namespace platform {
namespace {
Platform* g_override = nullptr;
}  // namespace

Platform& Get() { return g_override != nullptr ? *g_override : Native(); }

ScopedOverride::ScopedOverride(Platform* replacement) : previous_(g_override) { g_override = replacement; }

ScopedOverride::~ScopedOverride() { g_override = previous_; }

}  // namespace platform
