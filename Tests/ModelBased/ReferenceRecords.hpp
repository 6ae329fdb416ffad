#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ModelBased/ReferencePaths.hpp"
#include "ModelBased/Step.hpp"

namespace mox::test::model {

/// A value of a subscription's record.
struct EntryValue {
    enum class Kind { Text, Integer, Image };
    Kind kind = Kind::Text;
    /// The text, the number, or the side of the image in pixels.
    std::string text = {};
};

/// A subscription's record: an entry of the dictionary model, a launch alias of the bundle model.
using Entry = std::map<std::string, EntryValue, ByUTF16>;

EntryValue textValue(const std::string& text);
EntryValue integerValue(const std::string& number);

/// `value` as it is stored: an ill-formed byte, of which steps use 0xFF alone, has become U+FFFD.
std::string stored(const std::string& value);

/// The text under `key`; nil when there is none.
std::optional<std::string> textIn(const Entry& entry, const std::string& key);

/// 1 for an application, 2 for a desktop, 0 for anything else.
int typeOf(const Entry& entry);

/// A new record of what `step` says, its icon left aside.
Entry recordOf(const Step& step);

/// Makes the seamless name follow the names that it is made of.
void buildSeamlessName(Entry& entry);

/// What a client sees of the record `entry` whose icon is `icon`.
std::vector<std::string> propertiesOf(Entry entry, const std::string& icon);

/// The text of `entry`, and one of a value that may be absent.
std::string textOf(const Entry& entry);
std::string told(const std::optional<std::string>& value);
std::string quoted(std::string_view value);

/// Those of `paths` that are subscriptions in `folder`, or below it as well.
std::vector<std::string> pathsInFolder(const std::vector<std::string>& paths, const std::string& folder,
                                       bool recursive);

} // namespace mox::test::model
