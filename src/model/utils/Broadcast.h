#pragma once

#include "model/utils/knUtils.h"

/// Broadcasts a message with one value. Receivers find it by exactly the type `Value`.
template <class Value>
void send(char const* name, char const* key, Value value) {
  knMessage message;
  message.set(key, value, true);
  knUtils::call(name, message, 0);
}
