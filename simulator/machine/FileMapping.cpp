#include "machine/FileMapping.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "machine/Machine.h"

namespace winsim {
namespace {

constexpr std::uint32_t AccessDenied = 5;
constexpr std::uint32_t NotEnoughMemory = 8;
constexpr std::uint32_t InvalidParameter = 87;
constexpr std::uint32_t FileInvalid = 1006;
constexpr std::uint32_t MappedAlignment = 1132;

constexpr std::uint32_t SectionCommit = 0x08000000;
constexpr std::uint32_t ViewWrite = 0x02;
constexpr std::uint32_t ViewExecute = 0x20;

/// What a page protection lets views do.
struct Protection {
  std::uint32_t number;
  bool write;
  bool execute;
};
constexpr Protection Protections[] = {
    {0x02, false, false}, {0x04, true, false}, {0x08, false, false},
    {0x20, false, true},  {0x40, true, true},  {0x80, false, true},
};

const Protection* FindProtection(std::uint32_t number) {
  const auto* const found =
      std::find_if(std::begin(Protections), std::end(Protections),
                   [=](const Protection& candidate) { return candidate.number == number; });
  return found == std::end(Protections) ? nullptr : found;
}

std::size_t InWholePages(std::uint64_t size) {
  return static_cast<std::size_t>((size + FileView::PageSize - 1) / FileView::PageSize * FileView::PageSize);
}

}  // namespace

FileMapping::FileMapping(Machine& machine, std::shared_ptr<FileNode> node, std::uint32_t protection,
                         std::uint64_t size)
    : m_machine(machine), m_node(std::move(node)), m_protection(protection), m_size(size) {
  ++m_node->mappings;
}

FileMapping::~FileMapping() {
  --m_node->mappings;
}

std::string FileMapping::Describe() const {
  return "mapping of " + (m_node->name.empty() ? "memory" : ToUtf8(m_node->Path()));
}

std::uint32_t FileMapping::Create(Machine& machine, const FileObject* file, std::uint32_t protection,
                                  std::uint64_t size, std::shared_ptr<FileMapping>& result) {
  const Protection* const found = FindProtection(protection & ~SectionCommit);
  if (found == nullptr) {
    return InvalidParameter;
  }
  std::shared_ptr<FileNode> node;
  if (file == nullptr) {
    if (size == 0) {
      return InvalidParameter;
    }
    node = std::make_shared<FileNode>(u"", 0, FileTimes());
    if (!node->Extend(size)) {
      return NotEnoughMemory;
    }
  } else {
    node = file->Node();
    const FileAccess& access = file->Access();
    if (node->IsFolder() || !access.read || (found->write && !access.write) ||
        (found->execute && !access.execute)) {
      return AccessDenied;
    }
    if (size == 0 && node->Size() == 0) {
      return FileInvalid;
    }
    if (size > node->Size()) {
      if (!found->write || !node->Extend(size)) {
        return NotEnoughMemory;
      }
      node->times.lastWrite = machine.clock.Now();
    }
    size = size == 0 ? node->Size() : size;
  }
  result.reset(new FileMapping(machine, std::move(node), found->number, size));
  return 0;
}

FileView::FileView(std::shared_ptr<FileMapping> mapping, std::uint64_t offset, std::uint64_t size,
                   bool writesBack)
    : m_mapping(std::move(mapping)),
      m_offset(offset),
      m_size(size),
      m_writesBack(writesBack),
      m_memory(static_cast<std::uint8_t*>(std::aligned_alloc(PageSize, InWholePages(size)))) {
  if (m_memory == nullptr) {
    throw std::bad_alloc();
  }
  const Bytes& contents = m_mapping->m_node->Contents();
  std::uint8_t* const end = std::copy_n(contents.data() + offset, size, m_memory);
  std::fill(end, m_memory + InWholePages(size), std::uint8_t{0});
}

FileView::~FileView() {
  FileNode& node = *m_mapping->m_node;
  const Machine& machine = m_mapping->m_machine;
  if (m_writesBack && !machine.gate.IsPowerOff() &&
      !std::equal(m_memory, m_memory + m_size, node.Contents().data() + m_offset)) {
    std::copy_n(m_memory, m_size, node.WritableContents().data() + m_offset);
    node.times.lastWrite = machine.clock.Now();
    node.attributes |= FileNode::Archive;
  }
  std::free(m_memory);
}

std::string FileView::Describe() const {
  return "view of a " + m_mapping->Describe();
}

std::uint32_t FileView::Create(std::shared_ptr<FileMapping> mapping, std::uint32_t access,
                               std::uint64_t offset, std::uint64_t size, std::shared_ptr<FileView>& result) {
  if (offset % Granularity != 0) {
    return MappedAlignment;
  }
  const Protection& protection = *FindProtection(mapping->m_protection);
  const bool writes = (access & ViewWrite) != 0;
  if ((writes && !protection.write) || ((access & ViewExecute) != 0 && !protection.execute)) {
    return AccessDenied;
  }
  if (offset >= mapping->m_size || size > mapping->m_size - offset) {
    return AccessDenied;
  }
  if (size == 0) {
    size = mapping->m_size - offset;
  }
  size = std::min<std::uint64_t>(InWholePages(size), mapping->m_node->Size() - offset);
  result.reset(new FileView(std::move(mapping), offset, size, writes));
  return 0;
}

bool FileView::Contains(const void* address) const {
  const auto* const byte = static_cast<const std::uint8_t*>(address);
  return byte >= m_memory && byte < m_memory + InWholePages(m_size);
}

}  // namespace winsim
