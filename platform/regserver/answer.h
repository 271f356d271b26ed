// What the server answers to a call.
#pragma once

#include "registry.pb.h"
#include "store.h"

namespace zeva {

[[nodiscard]] wire::Answer answer(Store& store, wire::Call const& call);

}  // namespace zeva
