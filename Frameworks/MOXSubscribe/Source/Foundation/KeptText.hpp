#pragma once

#include "Foundation/PropertyList.hpp"
#include "Foundation/SharedBytes.hpp"

namespace mox {

/// The texts that values keep of the documents that they were read from or written to, so that saving need
/// not make them again. Only those who read and write a document may say what a value's text is: a wrong one
/// would be saved in the value's place.
class KeptText {
public:
    KeptText() = delete;

    /// Makes the bytes for which a text stands.
    using Decoder = PropertyList::Data::Decoder;

    /// The lines of a dictionary, and how deep it is.
    using WrittenForm = PropertyList::Dictionary::WrittenForm;

    /// The bytes that `decode` makes of `text`, which is not done before they are asked for. The text must be
    /// the only one that stands for them, so that equal bytes have equal texts.
    static PropertyList::Data data(SharedBytes text, Decoder decode);

    /// The text that stands for the bytes; null when they were not made of one.
    static const SharedBytes* of(const PropertyList::Data& data) noexcept;

    /// Lets an equal text elsewhere stand for the bytes, so that the whole of which it was a part need not
    /// stay in memory. This is no change of the value, and views of its bytes hold as before.
    static void move(const PropertyList::Data& data, SharedBytes text);

    /// The lines that are kept; null when there are none.
    static const WrittenForm* of(const PropertyList::Dictionary& dictionary) noexcept;

    /// Whether the dictionary can keep its lines; the dictionaries in it may still be in the way.
    static bool canBeKept(const PropertyList::Dictionary& dictionary) noexcept;

    /// Keeps the lines, which must be those that writing the dictionary at that depth makes; the line of the
    /// key, when it is told, must stand right in front of them as it is written at that depth. The dictionary
    /// must be able to, and so must all in it; there must be no array in it, whose elements can be reached
    /// without its knowledge. This is no change of the value.
    static void keep(const PropertyList::Dictionary& dictionary, WrittenForm form);
};

} // namespace mox
