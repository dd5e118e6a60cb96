#pragma once

namespace television {

/// Statuses of the televisions' operations. A simulated television also returns the statuses that a program sets, for
/// example with `failReads`.
enum Status : int {
    STATUS_OK = 0,
    STATUS_NO_TELEVISION = 101,      ///< No television is on.
    STATUS_UNKNOWN_INTERFACE = 102,  ///< The lookup asked for an interface that is not the root interface.
    STATUS_LOOKUP_REFUSED = 103,     ///< `setRootLookup` made lookups fail.
    STATUS_NOT_PUBLISHED = 104,      ///< No object is published under the key.
    STATUS_NOT_CONNECTED = 105,      ///< The observer is not registered.
    STATUS_WITHDRAWN = 106,          ///< The object was withdrawn.
    STATUS_UNKNOWN_ITERATOR = 107,   ///< The table has no such iterator, has destroyed it, or refused to create one.
    STATUS_NOT_SUPPORTED = 108,      ///< The television does not support the operation.
    STATUS_TOO_MANY = 109,           ///< The client has the largest number of iterators that the television permits.
    STATUS_DENIED = 110,             ///< The bus or the television denies the call to this user.
    STATUS_INTERNAL_ERROR = 111,     ///< An unexpected exception.
    STATUS_NO_BUS = 121,             ///< The bus cannot be reached.
    /// No answer in time or before a loss. The television may have carried out the operation, or may still do so.
    STATUS_NO_ANSWER = 122,
    STATUS_NOT_CARRIED = 123,     ///< The text is too long, or is not text that the bus carries.
    STATUS_NOT_UNDERSTOOD = 124,  ///< A message does not conform to the television's D-Bus interfaces.
    STATUS_NO_RESOURCES = 125,    ///< This process has no memory, thread or file descriptor left.
    STATUS_LOST = 126,            ///< Only notified: a result or an iterator was lost with the television.
};

}  // namespace television
