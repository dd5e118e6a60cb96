#pragma once

namespace television {

/// What the operations of the televisions here return, beside what the model says itself.
enum Status : int {
    STATUS_OK = 0,
    STATUS_NO_TELEVISION = 101,      ///< No television is on.
    STATUS_UNKNOWN_INTERFACE = 102,  ///< The framework publishes the root interface only.
    STATUS_LOOKUP_REFUSED = 103,     ///< As the television was told to.
    STATUS_NOT_PUBLISHED = 104,      ///< Nothing stands under the key.
    STATUS_NOT_CONNECTED = 105,      ///< There was no such registration.
    STATUS_WITHDRAWN = 106,          ///< The object was taken away.
    STATUS_UNKNOWN_ITERATOR = 107,   ///< The table has none like it, or no longer.
    STATUS_NOT_SUPPORTED = 108,      ///< The television has no such operation.
    STATUS_TOO_MANY = 109,           ///< The client has as many iterators as the television lets it have.
    STATUS_DENIED = 110,             ///< The bus denies the call, or the television does, to this user.
    STATUS_INTERNAL_ERROR = 111,     ///< An exception that nothing here throws.
    STATUS_NO_BUS = 121,             ///< The bus cannot be reached.
    STATUS_NO_ANSWER = 122,          ///< The television did not answer in time; it may still do what it was asked.
    STATUS_NOT_CARRIED = 123,        ///< The bus does not carry the text, or it is too long for it.
    STATUS_NOT_UNDERSTOOD = 124,     ///< What came over the bus is not what was agreed on.
    STATUS_NO_RESOURCES = 125,       ///< This process has no memory, thread or file descriptor left.
    STATUS_LOST = 126,               ///< The television went before it had answered.
};

}  // namespace television
