// SPDX-License-Identifier: MIT
#pragma once

#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IOutFilerTagged.h"

#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

/// A tree of strings and groups in memory, and two filers over it.
struct MemoryNode {
  MString tag;
  MString text;
  bool isGroup = false;
  std::vector<MemoryNode> children;

  static MemoryNode Value(MString tag, MString text) {
    return {std::move(tag), std::move(text), false, {}};
  }
  static MemoryNode Group(MString tag, std::vector<MemoryNode> children) {
    return {std::move(tag), MString(), true, std::move(children)};
  }

  /// tag=text for values, tag{...} for groups.
  MString Describe() const {
    if (!isGroup) {
      return tag + L"=" + text + L";";
    }
    MString description = tag + L"{";
    for (const MemoryNode& child : children) {
      description += child.Describe();
    }
    return description + L"}";
  }
};

/// Writes strings and groups; refuses other types, and everything but `EndGroup` after
/// `successes` operations.
class MemoryWriter : public IOutFilerTagged {
 public:
  explicit MemoryWriter(int allowedSuccesses = (std::numeric_limits<int>::max)())
      : successes(allowedSuccesses) {}

  bool WriteString(const MString& tag, const MString& value) override {
    if (successes-- <= 0) {
      return false;
    }
    open.back()->children.push_back(MemoryNode::Value(tag, value));
    return true;
  }
  bool BeginGroup(const MString& tag) override {
    if (successes-- <= 0) {
      return false;
    }
    open.back()->children.push_back(MemoryNode::Group(tag, {}));
    open.push_back(&open.back()->children.back());
    return true;
  }
  bool EndGroup() override {
    if (open.size() == 1) {
      return false;
    }
    open.pop_back();
    return true;
  }

  bool WriteChar(const MString&, char) override { return false; }
  bool WriteDouble(const MString&, double) override { return false; }
  bool WriteFloat(const MString&, float) override { return false; }
  bool WriteBool(const MString&, bool) override { return false; }
  bool WriteByte(const MString&, std::uint8_t) override { return false; }
  bool WriteUnsignedShort(const MString&, std::uint16_t) override { return false; }
  bool WriteShort(const MString&, std::int16_t) override { return false; }
  bool WriteUnsignedInt(const MString&, std::uint32_t) override { return false; }
  bool WriteInt(const MString&, std::int32_t) override { return false; }
  bool WriteEmbeddedDocument(const MString&, const MString&) override { return false; }

  const MemoryNode& Root() const { return root; }
  /// Groups begun and not ended.
  std::size_t Depth() const { return open.size() - 1; }

 private:
  MemoryNode root = MemoryNode::Group(L"", {});
  std::vector<MemoryNode*> open{&root};  // each the last child of the one before: they stay put
  int successes;
};

/// Reads what a `MemoryWriter` wrote: values in order, groups by searching forward.
class MemoryReader : public IInFilerTagged {
 public:
  explicit MemoryReader(const MemoryNode& root) : open{{&root, 0}} {}

  bool ReadString(const MString& tag, MString* value, const MString& defaultValue) override {
    *value = defaultValue;
    auto& [group, next] = open.back();
    if (next >= group->children.size() || group->children[next].isGroup ||
        group->children[next].tag != tag) {
      return false;
    }
    *value = group->children[next++].text;
    return true;
  }
  bool BeginGroup(const MString& tag) override {
    auto& [group, next] = open.back();
    for (std::size_t i = next; i < group->children.size(); ++i) {
      if (group->children[i].isGroup && group->children[i].tag == tag) {
        next = i + 1;
        const MemoryNode* const entered = &group->children[i];
        open.push_back({entered, 0});
        return true;
      }
    }
    return false;
  }
  bool EndGroup() override {
    if (open.size() == 1) {
      return false;
    }
    open.pop_back();
    return true;
  }

  bool ReadChar(const MString&, char*, char) override { return false; }
  bool ReadDouble(const MString&, double*, double) override { return false; }
  bool ReadFloat(const MString&, float*, float) override { return false; }
  bool ReadBool(const MString&, bool*, bool) override { return false; }
  bool ReadByte(const MString&, std::uint8_t*, std::uint8_t) override { return false; }
  bool ReadUnsignedShort(const MString&, std::uint16_t*, std::uint16_t) override { return false; }
  bool ReadShort(const MString&, std::int16_t*, std::int16_t) override { return false; }
  bool ReadUnsignedInt(const MString&, std::uint32_t*, std::uint32_t) override { return false; }
  bool ReadInt(const MString&, std::int32_t*, std::int32_t) override { return false; }
  bool ReadEmbeddedDocument(const MString&, MString*) override { return false; }

 private:
  std::vector<std::pair<const MemoryNode*, std::size_t>> open;
};
