#pragma once

#include <DSStore/Record.h>

#include <Base/BinaryReader.h>
#include <Base/BinaryWriter.h>

namespace halvo::dsstore {

// A record in a node, integers big-endian:
//   <record> ::= <name length:u32> <name:UTF-16> <record type:4 bytes> <value>
//   <value>  ::= <value type:4 bytes> <payload>
// The length counts code units. Value.h lists the value types.

/// Reads one record. Bytes that hold a property list stay bytes; see recognisePropertyList. Throws Error or
/// BinaryReadError.
Record readRecord(BinaryReader& reader);

/// Turns bytes that begin like a property list and are one into a PlistValue; all others stay as they are.
void recognisePropertyList(Value& value);

/// Appends one record. Throws Error for what a file cannot hold; then a part of it may be written.
void writeRecord(BinaryWriter& writer, const Record& record);

} // namespace halvo::dsstore
