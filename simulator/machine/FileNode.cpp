#include "machine/FileNode.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace winsim {

std::u16string FileNode::Path() const {
  if (parent == nullptr) {
    return IsFolder() ? name + u'\\' : name;
  }
  std::u16string path = name;
  for (const FileNode* node = parent; node != nullptr; node = node->parent) {
    path = node->name + u'\\' + path;
  }
  return path;
}

std::shared_ptr<FileNode> FileNode::Child(std::u16string_view childName) const {
  const auto found = children.find(childName);
  return found == children.end() ? nullptr : found->second;
}

void FileNode::AddChild(const std::shared_ptr<FileNode>& child) {
  child->parent = this;
  children[child->name] = child;
}

void FileNode::RemoveChild(FileNode& child) {
  child.parent = nullptr;
  children.erase(children.find(child.name));
}

const Bytes& FileNode::Contents() {
  if (!m_hostPath.empty() && !m_isRead) {
    std::ifstream file(m_hostPath, std::ios::binary);
    m_contents.resize(m_hostSize);
    file.read(reinterpret_cast<char*>(m_contents.data()), static_cast<std::streamsize>(m_hostSize));
    if (!file || file.peek() != std::ifstream::traits_type::eof()) {
      throw std::runtime_error(m_hostPath + ": cannot be read, or is not of the expected size of " +
                               std::to_string(m_hostSize) + " bytes");
    }
    m_isRead = true;
  }
  return m_contents;
}

Bytes& FileNode::WritableContents() {
  Contents();
  m_hostPath.clear();
  return m_contents;
}

bool FileNode::Extend(std::uint64_t size) {
  if (size > std::max(Size(), MostBytes)) {
    return false;
  }
  WritableContents().resize(std::max(Size(), size));
  return true;
}

void FileNode::SetHostFile(std::string hostPath, std::uint64_t size) {
  m_contents.clear();
  m_hostPath = std::move(hostPath);
  m_hostSize = size;
  m_isRead = false;
}

}  // namespace winsim
