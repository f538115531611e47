#pragma once

#include "model/scenegraph/Attachment.h"

namespace osg {
inline namespace knscene {

class ValuePair;

/// The fields of a ValuePair.
class KNSCENE_API ValuePairBase : public Attachment {
  KN_CONTAINER(ValuePairBase, ValuePair, Attachment)
 public:
  /// Keys and values, by index.
  KN_MFIELD(std::string, Keys, keys)
  KN_MFIELD(std::string, Values, values)
  KN_CONTAINER_END
};

/// Texts by key. Keys and values stand at the same place of their lists.
class KNSCENE_API ValuePair : public ValuePairBase {
 public:
  /// Adds a key with its value; a key that is there takes the new value.
  void add(std::string const& key, std::string const& value);
  /// Whether there is such a key.
  bool findKey(std::string const& key) const;
  /// The value of a key; empty when the key is not there.
  std::string getValue(std::string const& key) const;
};

using ValuePairPtr = ValuePair::Ptr;

}  // namespace knscene
}  // namespace osg
