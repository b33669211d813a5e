#include "machine/FileObject.h"

#include <algorithm>
#include <cstring>

#include "machine/Machine.h"

namespace winsim {
namespace {

constexpr std::uint32_t GenericRead = 0x80000000;
constexpr std::uint32_t GenericWrite = 0x40000000;
constexpr std::uint32_t GenericExecute = 0x20000000;
constexpr std::uint32_t GenericAll = 0x10000000;
constexpr std::uint32_t FileReadData = 0x01;
constexpr std::uint32_t FileWriteData = 0x02;
constexpr std::uint32_t FileAppendData = 0x04;
constexpr std::uint32_t FileExecute = 0x20;
constexpr std::uint32_t FileWriteAttributes = 0x100;
constexpr std::uint32_t Delete = 0x10000;

constexpr std::uint32_t ShareRead = 1;
constexpr std::uint32_t ShareWrite = 2;
constexpr std::uint32_t ShareDelete = 4;

/// Whether everything that `access` does is in `share`.
bool Covers(std::uint32_t share, const FileAccess& access) {
  return (!(access.read || access.execute) || (share & ShareRead) != 0) &&
         (!access.write || (share & ShareWrite) != 0) && (!access.remove || (share & ShareDelete) != 0);
}

}  // namespace

FileAccess::FileAccess(std::uint32_t mask)
    : read((mask & (GenericRead | GenericAll | FileReadData)) != 0),
      write((mask & (GenericWrite | GenericAll | FileWriteData | FileAppendData)) != 0),
      execute((mask & (GenericExecute | GenericAll | FileExecute)) != 0),
      remove((mask & (GenericAll | Delete)) != 0),
      writeAttributes((mask & (GenericWrite | GenericAll | FileWriteAttributes)) != 0) {}

FileObject::FileObject(Machine& machine, std::shared_ptr<FileNode> node, const OpenRequest& request)
    : m_machine(machine), m_node(std::move(node)), m_access(request.access), m_share(request.share) {
  m_node->opens.push_back(this);
}

FileObject::~FileObject() {
  std::erase(m_node->opens, this);
  if (m_node->deletePending && m_node->opens.empty()) {
    m_node->deletePending = false;
    if (!m_machine.gate.IsPowerOff()) {
      m_machine.files.Unlink(*m_node);
    }
  }
}

std::string FileObject::Describe() const {
  return (m_node->IsFolder() ? "folder " : "file ") + ToUtf8(m_node->Path());
}

bool FileObject::Allows(const FileAccess& access, std::uint32_t share) const {
  if (!m_access.IsShared() || !access.IsShared()) {
    return true;
  }
  return Covers(m_share, access) && Covers(share, m_access);
}

bool FileObject::Write(const void* data, std::uint32_t size, const std::uint64_t* position) {
  const std::uint64_t start = position == nullptr ? m_pointer : *position;
  if (size != 0) {
    if (start + size < start || !m_node->Extend(start + size)) {
      return false;
    }
    std::memcpy(m_node->WritableContents().data() + start, data, size);
    m_node->times.lastWrite = m_machine.clock.Now();
    m_node->attributes |= FileNode::Archive;
  }
  m_pointer = start + size;
  return true;
}

}  // namespace winsim
