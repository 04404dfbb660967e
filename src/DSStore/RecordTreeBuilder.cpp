#include "RecordTreeBuilder.h"

#include "Fail.h"
#include "Layout.h"

#include <Base/BinaryWriter.h>

#include <algorithm>

namespace halvo::dsstore {
namespace {

/// An internal node must have room for the record and the pointer beside it.
bool canBePromoted(ByteView record) { return nodeHeaderSize + childPointerSize + record.size() <= pageSize; }

/// The record that moves up when the node is split: the one that leaves both sides closest in size, the first
/// of equal ones. Absent when there is none.
std::optional<std::size_t> splitIndex(const BTreeNode& node) {
    const std::size_t count = node.records.size();
    const std::size_t total = node.size - nodeHeaderSize;
    const auto best = [&](std::size_t first, std::size_t end) {
        std::optional<std::size_t> found;
        std::size_t smallestBalance = 0;
        std::size_t before = 0; // bytes of the records before the candidate
        for (std::size_t index = 0; index < end; ++index) {
            const std::size_t own = node.entrySize(node.records[index]);
            const std::size_t left = before + nodeHeaderSize;
            const std::size_t right = total - before - own + nodeHeaderSize;
            const std::size_t balance = left > right ? left - right : right - left;
            before += own;
            if (index < first || left > pageSize || right > pageSize || !canBePromoted(node.records[index]))
                continue;
            if (!found || balance < smallestBalance) {
                found = index;
                smallestBalance = balance;
            }
        }
        return found;
    };
    if (count >= 3)
        if (const auto found = best(1, count - 1)) // both sides keep a record
            return found;
    // An internal node without records cannot be read back; a leaf without any can.
    return node.isLeaf ? best(0, count) : std::nullopt;
}

/// Grows a tree along its right edge, which is where records that come in order belong.
class RightEdgeBuilder {
public:
    RightEdgeBuilder() : root(newNode(true)) { edge.push_back(root.get()); }

    /// False when the record would need an internal node to be split that has too few records for that.
    bool append(ByteView record) {
        edge.back()->append(record);
        for (std::size_t level = edge.size(); level-- > 0 && edge[level]->size > pageSize;) {
            const std::optional<std::size_t> index = splitIndex(*edge[level]);
            if (!index)
                return false;
            split(level, *index);
        }
        return true;
    }

    std::unique_ptr<BTreeNode> take() { return std::move(root); }

private:
    std::unique_ptr<BTreeNode> newNode(bool isLeaf) {
        return std::make_unique<BTreeNode>(nextBlockID++, isLeaf);
    }

    void split(std::size_t level, std::size_t index) {
        BTreeNode& left = *edge[level];
        std::unique_ptr<BTreeNode> right = newNode(left.isLeaf);
        const ByteView promoted = left.records[index];
        for (std::size_t moved = index + 1; moved < left.records.size(); ++moved)
            right->append(left.records[moved]);
        for (std::size_t moved = index; moved < left.records.size(); ++moved)
            left.size -= left.entrySize(left.records[moved]);
        left.records.resize(index);
        if (!left.isLeaf) {
            const auto firstMoved = left.children.begin() + static_cast<std::ptrdiff_t>(index) + 1;
            right->children.assign(std::move_iterator(firstMoved), std::move_iterator(left.children.end()));
            left.children.erase(firstMoved, left.children.end());
        }
        edge[level] = right.get();
        if (level == 0) {
            std::unique_ptr<BTreeNode> newRoot = newNode(false);
            newRoot->children.push_back(std::move(root));
            root = std::move(newRoot);
            edge.insert(edge.begin(), root.get());
            level = 1;
        }
        edge[level - 1]->append(promoted);
        edge[level - 1]->children.push_back(std::move(right));
    }

    std::uint32_t nextBlockID = firstNodeBlockID;
    std::unique_ptr<BTreeNode> root;
    std::vector<BTreeNode*> edge; ///< from the root to the last leaf
};

/// Builds a tree whose internal nodes have one record each, for records so large that two of them fill a
/// page. Every leaf lies at the same depth.
class BinaryTreeBuilder {
public:
    explicit BinaryTreeBuilder(std::span<const ByteView> records) : records(records) {}

    std::unique_ptr<BTreeNode> build() {
        for (std::uint32_t depth = 0; (std::size_t(1) << depth) <= records.size() + 1; ++depth) {
            nextBlockID = firstNodeBlockID;
            if (auto root = build(records, depth))
                return root;
        }
        failWriting("Unable to split B-tree node");
    }

private:
    /// Null when the records do not fit below a node of that depth.
    std::unique_ptr<BTreeNode> build(std::span<const ByteView> part, std::uint32_t depth) {
        auto node = std::make_unique<BTreeNode>(nextBlockID++, depth == 0);
        if (depth == 0) {
            for (const ByteView record : part) {
                node->append(record);
                if (node->size > pageSize)
                    return nullptr;
            }
            return node;
        }
        const std::size_t middle = part.size() / 2;
        if (part.empty() || !canBePromoted(part[middle]))
            return nullptr;
        node->append(part[middle]);
        for (const auto side : {part.first(middle), part.subspan(middle + 1)}) {
            node->children.push_back(build(side, depth - 1));
            if (!node->children.back())
                return nullptr;
        }
        return node;
    }

    std::span<const ByteView> records;
    std::uint32_t nextBlockID = firstNodeBlockID;
};

std::unique_ptr<BTreeNode> buildNodes(const std::vector<ByteView>& records) {
    RightEdgeBuilder builder;
    for (const ByteView record : records) {
        if (record.size() + nodeHeaderSize > pageSize)
            failWriting("Record exceeds B-tree page size");
        if (!builder.append(record))
            return BinaryTreeBuilder(records).build();
    }
    return builder.take();
}

void collectNodes(const BTreeNode& node, std::uint32_t depth, RecordTree& tree) {
    tree.nodes.push_back(&node);
    if (!node.isLeaf)
        tree.height = std::max(tree.height, depth + 1);
    for (const auto& child : node.children)
        collectNodes(*child, depth + 1, tree);
}

} // namespace

BTreeNode::BTreeNode(std::uint32_t blockID, bool isLeaf)
    : blockID(blockID), isLeaf(isLeaf), size(nodeHeaderSize) {}

std::size_t BTreeNode::entrySize(ByteView record) const {
    return record.size() + (isLeaf ? 0 : childPointerSize);
}

void BTreeNode::append(ByteView record) {
    records.push_back(record);
    size += entrySize(record);
}

RecordTree buildRecordTree(const std::vector<ByteView>& sortedRecords) {
    RecordTree tree{.root = buildNodes(sortedRecords)};
    if (sortedRecords.size() > UINT32_MAX)
        failWriting("Record count exceeds UInt32");
    tree.recordCount = static_cast<std::uint32_t>(sortedRecords.size());
    collectNodes(*tree.root, 0, tree);
    return tree;
}

Bytes buildNodeData(const BTreeNode& node) {
    if (!node.isLeaf && node.children.empty())
        failWriting("Missing rightmost child");
    if (!node.isLeaf && node.children.size() != node.records.size() + 1)
        failWriting("Invalid internal node structure");
    if (node.size > pageSize)
        failWriting("Node exceeds page size");
    BinaryWriter writer;
    writer.reserve(node.size);
    writer.writeUInt32(node.isLeaf ? 0 : node.children.back()->blockID);
    writer.writeUInt32(static_cast<std::uint32_t>(node.records.size()));
    for (std::size_t index = 0; index < node.records.size(); ++index) {
        if (!node.isLeaf)
            writer.writeUInt32(node.children[index]->blockID);
        writer.writeBytes(node.records[index]);
    }
    return writer.take();
}

} // namespace halvo::dsstore
