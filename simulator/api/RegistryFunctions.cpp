#include <algorithm>

#include "api/Call.h"
#include "machine/CodePages.h"

// The registry functions. Every last-write time is the machine's first start.

using namespace winsim;

namespace {

/// An open key.
class RegistryKeyObject : public Object {
 public:
  RegistryKeyObject(std::shared_ptr<RegistryNode> node, REGSAM access)
      : m_node(std::move(node)), m_access(access) {}
  std::string Describe() const override { return ToUtf8(m_node->Path()); }
  const std::shared_ptr<RegistryNode>& Node() const { return m_node; }
  REGSAM Access() const { return m_access; }

 private:
  std::shared_ptr<RegistryNode> m_node;
  REGSAM m_access;
};

RegistryNode* PredefinedKey(Machine& machine, HKEY key) {
  if (key == HKEY_LOCAL_MACHINE) {
    return &machine.registry.LocalMachine();
  }
  return key == HKEY_CURRENT_USER ? &machine.registry.CurrentUser() : nullptr;
}

/// What a key handle refers to.
struct KeyReference {
  KeyReference(Thread& thread, HKEY key) {
    if (RegistryNode* const root = PredefinedKey(thread.GetMachine(), key); root != nullptr) {
      node = root->shared_from_this();
      access = KEY_ALL_ACCESS;
    } else if (const auto object = thread.process->handles.Find<RegistryKeyObject>(key); object != nullptr) {
      node = object->Node();
      access = object->Access();
    }
  }

  /// 6 for a handle that is none, 5 when it was not opened for `needed`, 1018 when the key is deleted.
  DWORD Check(REGSAM needed) const {
    if (node == nullptr) {
      return ERROR_INVALID_HANDLE;
    }
    if ((access & needed) != needed) {
      return ERROR_ACCESS_DENIED;
    }
    return node->IsDeleted() ? ERROR_KEY_DELETED : ERROR_SUCCESS;
  }

  std::shared_ptr<RegistryNode> node;
  REGSAM access = 0;
};

REGSAM ResolveGeneric(REGSAM access) {
  static constexpr REGSAM maximumAllowed = 0x02000000;
  if ((access & (GENERIC_ALL | maximumAllowed)) != 0) {
    return KEY_ALL_ACCESS;
  }
  const REGSAM read = (access & (GENERIC_READ | GENERIC_EXECUTE)) != 0 ? KEY_READ : 0;
  const REGSAM write = (access & GENERIC_WRITE) != 0 ? KEY_WRITE : 0;
  return (access & ~(GENERIC_READ | GENERIC_EXECUTE | GENERIC_WRITE)) | read | write;
}

HKEY NewHandle(Thread& thread, std::shared_ptr<RegistryNode> node, REGSAM access) {
  return thread.process->handles.Add<HKEY>(std::make_shared<RegistryKeyObject>(std::move(node), access));
}

DWORD OpenKey(Thread& thread, HKEY key, std::u16string_view path, REGSAM access, PHKEY result) {
  if (result == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  const KeyReference from(thread, key);
  if (from.node == nullptr) {
    return ERROR_INVALID_HANDLE;
  }
  if (path.empty() && PredefinedKey(thread.GetMachine(), key) != nullptr) {
    *result = key;
    return ERROR_SUCCESS;
  }
  *result = nullptr;
  access = ResolveGeneric(access);
  std::shared_ptr<RegistryNode> node;
  const DWORD error = thread.GetMachine().registry.Open(*from.node, path, access, node);
  if (error == 0) {
    *result = NewHandle(thread, std::move(node), access);
  }
  return error;
}

bool IsText(DWORD type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

/// Finds a value to read; `size` may be null when no data are wanted.
DWORD FindValue(Thread& thread, HKEY key, std::u16string_view name, const DWORD* reserved, const BYTE* data,
                const DWORD* size, const RegistryValue*& value) {
  if (reserved != nullptr || (data != nullptr && size == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  const KeyReference from(thread, key);
  if (const DWORD error = from.Check(KEY_QUERY_VALUE); error != 0) {
    return error;
  }
  const auto found = from.node->values.find(name);
  if (found == from.node->values.end()) {
    return ERROR_FILE_NOT_FOUND;
  }
  value = &found->second;
  return ERROR_SUCCESS;
}

/// Hands a value's type and data out, the room being read first; a text that has no terminator gets one of
/// `terminatorSize` bytes when there is room, unless it has no data at all.
DWORD GiveData(const void* bytes, std::size_t length, DWORD type, std::size_t terminatorSize,
               DWORD* typeResult, BYTE* data, DWORD* size) {
  const DWORD room = size == nullptr ? 0 : *size;
  if (typeResult != nullptr) {
    *typeResult = type;
  }
  if (size == nullptr) {
    return ERROR_SUCCESS;
  }
  *size = static_cast<DWORD>(length);
  if (data == nullptr) {
    return ERROR_SUCCESS;
  }
  if (room < length) {
    return ERROR_MORE_DATA;
  }
  const auto* const source = static_cast<const BYTE*>(bytes);
  std::copy_n(source, length, data);
  const bool isUnterminated =
      length >= terminatorSize &&
      std::any_of(source + length - terminatorSize, source + length, [](BYTE byte) { return byte != 0; });
  if (IsText(type) && isUnterminated && room - length >= terminatorSize) {
    std::fill_n(data + length, terminatorSize, BYTE{0});
  }
  return ERROR_SUCCESS;
}

DWORD SetValue(Thread& thread, HKEY key, std::u16string_view name, DWORD reserved, RegistryValue value) {
  if (reserved != 0) {
    return ERROR_INVALID_PARAMETER;
  }
  const KeyReference target(thread, key);
  if (const DWORD error = target.Check(KEY_SET_VALUE); error != 0) {
    return error;
  }
  if (name.size() > Registry::MaxValueName) {
    return ERROR_INVALID_PARAMETER;
  }
  target.node->values.insert_or_assign(std::u16string(name), std::move(value));
  return ERROR_SUCCESS;
}

}  // namespace

LSTATUS WINAPI RegOpenKeyExA(HKEY key, LPCSTR name, DWORD, REGSAM access, PHKEY result) {
  return StatusCall("RegOpenKeyExA", {Argument::Handle(key), name, access}, [&](Thread& thread) {
    return OpenKey(thread, key, FromAnsi(thread.GetMachine(), name), access, result);
  });
}

LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR name, DWORD, REGSAM access, PHKEY result) {
  return StatusCall("RegOpenKeyExW", {Argument::Handle(key), name, access}, [&](Thread& thread) {
    const DWORD error = OpenKey(thread, key, FromWide(name), access, result);
    if (error == ERROR_INVALID_HANDLE) {
      *result = nullptr;  // which the A function leaves alone
    }
    return error;
  });
}

LSTATUS WINAPI RegCreateKeyExW(HKEY key, LPCWSTR name, DWORD reserved, LPWSTR, DWORD, REGSAM access,
                               const SECURITY_ATTRIBUTES*, PHKEY result, LPDWORD disposition) {
  return StatusCall("RegCreateKeyExW", {Argument::Handle(key), name, access}, [&](Thread& thread) -> DWORD {
    static constexpr DWORD createdNewKey = 1;
    static constexpr DWORD openedExistingKey = 2;
    if (name == nullptr || result == nullptr) {
      return ERROR_BADKEY;
    }
    if (reserved != 0) {
      return ERROR_INVALID_PARAMETER;
    }
    const KeyReference from(thread, key);
    if (from.node == nullptr) {
      return ERROR_INVALID_HANDLE;
    }
    *result = nullptr;
    const REGSAM resolved = ResolveGeneric(access);
    std::shared_ptr<RegistryNode> node;
    bool created = false;
    const DWORD error =
        thread.GetMachine().registry.Create(*from.node, FromWide(name), resolved, node, created);
    if (error != 0) {
      return error;
    }
    *result = NewHandle(thread, std::move(node), resolved);
    if (disposition != nullptr) {
      *disposition = created ? createdNewKey : openedExistingKey;
    }
    return ERROR_SUCCESS;
  });
}

LSTATUS WINAPI RegCloseKey(HKEY key) {
  return StatusCall("RegCloseKey", {Argument::Handle(key)}, [&](Thread& thread) -> DWORD {
    const bool closed = PredefinedKey(thread.GetMachine(), key) != nullptr ||
                        thread.process->handles.Close<RegistryKeyObject>(key);
    return closed ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
  });
}

LSTATUS WINAPI RegDeleteKeyW(HKEY key, LPCWSTR name) {
  return StatusCall("RegDeleteKeyW", {Argument::Handle(key), name}, [&](Thread& thread) -> DWORD {
    if (name == nullptr) {
      return ERROR_INVALID_PARAMETER;
    }
    const KeyReference from(thread, key);
    return from.node == nullptr ? ERROR_INVALID_HANDLE
                                : thread.GetMachine().registry.Delete(*from.node, FromWide(name));
  });
}

LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR name) {
  return StatusCall("RegDeleteValueW", {Argument::Handle(key), name}, [&](Thread& thread) -> DWORD {
    const KeyReference target(thread, key);
    if (const DWORD error = target.Check(KEY_SET_VALUE); error != 0) {
      return error;
    }
    const auto value = target.node->values.find(FromWide(name));
    if (value == target.node->values.end()) {
      return ERROR_FILE_NOT_FOUND;
    }
    target.node->values.erase(value);
    return ERROR_SUCCESS;
  });
}

LSTATUS WINAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, LPDWORD nameLength, LPDWORD reserved,
                             LPWSTR className, LPDWORD classLength, PFILETIME lastWrite) {
  return StatusCall("RegEnumKeyExW", {Argument::Handle(key), index}, [&](Thread& thread) -> DWORD {
    if (name == nullptr || nameLength == nullptr || reserved != nullptr ||
        (className != nullptr && classLength == nullptr)) {
      return ERROR_INVALID_PARAMETER;
    }
    const KeyReference from(thread, key);
    if (const DWORD error = from.Check(KEY_ENUMERATE_SUB_KEYS); error != 0) {
      return error;
    }
    const RegistryNode* const child = from.node->ChildAt(index);
    if (child == nullptr) {
      return ERROR_NO_MORE_ITEMS;
    }
    if (child->Name().size() >= *nameLength || (className != nullptr && *classLength == 0)) {
      return ERROR_MORE_DATA;
    }
    CopyToWide(child->Name(), name);
    *nameLength = static_cast<DWORD>(child->Name().size());
    if (className != nullptr) {
      *className = 0;
    }
    if (classLength != nullptr) {
      *classLength = 0;
    }
    if (lastWrite != nullptr) {
      const std::uint64_t time = thread.GetMachine().settings.startTime;
      *lastWrite = {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
    }
    return ERROR_SUCCESS;
  });
}

LSTATUS WINAPI RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                LPDWORD size) {
  return StatusCall("RegQueryValueExA", {Argument::Handle(key), name}, [&](Thread& thread) -> DWORD {
    const Machine& machine = thread.GetMachine();
    const RegistryValue* value = nullptr;
    if (const DWORD error = FindValue(thread, key, FromAnsi(machine, name), reserved, data, size, value);
        error != 0) {
      if (error == ERROR_FILE_NOT_FOUND && data == nullptr && size != nullptr) {
        *size = 0;
      }
      return error;
    }
    if (!IsText(value->type)) {
      return GiveData(value->data.data(), value->data.size(), value->type, 1, type, data, size);
    }
    std::u16string text;
    for (std::size_t i = 0; i + 1 < value->data.size(); i += 2) {
      text.push_back(static_cast<char16_t>(value->data[i] | (value->data[i + 1] << 8)));
    }
    const std::string narrow = ToAnsi(machine, text);
    return GiveData(narrow.data(), narrow.size(), value->type, 1, type, data, size);
  });
}

LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                LPDWORD size) {
  return StatusCall("RegQueryValueExW", {Argument::Handle(key), name}, [&](Thread& thread) -> DWORD {
    const RegistryValue* value = nullptr;
    if (const DWORD error = FindValue(thread, key, FromWide(name), reserved, data, size, value); error != 0) {
      if (error == ERROR_FILE_NOT_FOUND && data == nullptr && size != nullptr) {
        *size = 0;
      }
      return error;
    }
    return GiveData(value->data.data(), value->data.size(), value->type, 2, type, data, size);
  });
}

LSTATUS WINAPI RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD size) {
  return StatusCall(
      "RegSetValueExA", {Argument::Handle(key), name, type, size}, [&](Thread& thread) -> DWORD {
        if (data == nullptr && size != 0) {
          return ERROR_NOACCESS;
        }
        const Machine& machine = thread.GetMachine();
        RegistryValue value{type, {}};
        if (IsText(type)) {
          for (const char16_t unit : FromAnsi(machine, {reinterpret_cast<const char*>(data), size})) {
            value.data.push_back(static_cast<BYTE>(unit & 0xFF));
            value.data.push_back(static_cast<BYTE>(unit >> 8));
          }
        } else {
          value.data.assign(data, data + size);
        }
        return SetValue(thread, key, FromAnsi(machine, name), reserved, std::move(value));
      });
}

LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                              DWORD size) {
  return StatusCall(
      "RegSetValueExW", {Argument::Handle(key), name, type, size}, [&](Thread& thread) -> DWORD {
        if (data == nullptr && size != 0) {
          return ERROR_NOACCESS;
        }
        return SetValue(thread, key, FromWide(name), reserved, {type, Bytes(data, data + size)});
      });
}
