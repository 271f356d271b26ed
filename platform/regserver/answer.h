// What the server answers to a call.
#pragma once

#include "registry.pb.h"
#include "store.h"

namespace zeva {

void answer(Store& store, wire::Call const& call, wire::Answer& answer);

}  // namespace zeva
