#pragma once

#include <Base/Bytes.h>

#include <memory>
#include <optional>
#include <vector>

namespace halvo::dsstore {

/// A node of the record tree that is being built. It owns its children and borrows its records.
struct BTreeNode {
    BTreeNode(std::uint32_t blockID, bool isLeaf);

    std::uint32_t blockID = 0;
    bool isLeaf = true;
    std::size_t size = 0;                               ///< bytes in the file; see entrySize
    std::vector<ByteView> records{};                    ///< encoded
    std::vector<std::unique_ptr<BTreeNode>> children{}; ///< none in a leaf, else one more than records

    /// What a record takes in this node: internal ones keep a child pointer beside it.
    std::size_t entrySize(ByteView record) const;
    void append(ByteView record);
};

/// A tree that is ready to be written.
struct RecordTree {
    std::unique_ptr<BTreeNode> root;
    std::vector<const BTreeNode*> nodes{}; ///< in pre-order
    std::uint32_t height = 0;              ///< levels of internal nodes
    std::uint32_t recordCount = 0;
};

/// Builds the tree of records that are encoded and in order; the records must outlive it. Throws Error
/// (`writeFailed`), such as for a record that no node can hold.
RecordTree buildRecordTree(const std::vector<ByteView>& sortedRecords);

/// The bytes of a node, without what fills up its block. Throws Error (`writeFailed`) when the node is larger
/// than a page or its children do not match its records.
Bytes buildNodeData(const BTreeNode& node);

} // namespace halvo::dsstore
