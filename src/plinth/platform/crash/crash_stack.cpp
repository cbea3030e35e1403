#include "plinth/platform/crash/crash_stack.h"

#define UNW_LOCAL_ONLY
#include <cxxabi.h>
#include <dwarf.h>
#include <elfutils/libdw.h>
#include <elfutils/libdwfl.h>
#include <libunwind.h>
#include <fcntl.h>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "plinth/platform/crash/safe_format.h"

namespace plinth::platform {

int crash_walk(void* context, CrashFrame* frames, int max) noexcept {
  if (!context || !frames || max <= 0) return -1;
  unw_cursor_t cursor;
  // The kernel marks its signal contexts (UC_SIGCONTEXT_SS); getcontext doesn't.
  const bool fromSignal = (static_cast<ucontext_t*>(context)->uc_flags & 0x2) != 0;
  if (unw_init_local2(&cursor, static_cast<unw_context_t*>(context), fromSignal ? UNW_INIT_SIGNAL_FRAME : 0) < 0)
    return -1;
  int count = 0;
  for (;;) {
    CrashFrame& frame = frames[count];
    unw_word_t value = 0;
    unw_get_reg(&cursor, UNW_REG_IP, &value), frame.pc = value;
    unw_get_reg(&cursor, UNW_REG_SP, &value), frame.sp = value;
    unw_get_reg(&cursor, UNW_X86_64_RBP, &value), frame.rbp = value;
    unw_get_reg(&cursor, UNW_X86_64_RBX, &value), frame.rbx = value;
    unw_get_reg(&cursor, UNW_X86_64_R12, &value), frame.r12 = value;
    unw_get_reg(&cursor, UNW_X86_64_R13, &value), frame.r13 = value;
    unw_get_reg(&cursor, UNW_X86_64_R14, &value), frame.r14 = value;
    unw_get_reg(&cursor, UNW_X86_64_R15, &value), frame.r15 = value;
    frame.cfa = 0;
    frame.exact = count == 0 && fromSignal;
    if (frame.pc == 0) break;
    ++count;
    if (count >= max || unw_step(&cursor) <= 0) break;
    // The caller's stack pointer after the return is the callee's frame address.
    unw_get_reg(&cursor, UNW_REG_SP, &value);
    frames[count - 1].cfa = value;
  }
  return count;
}

bool crash_read_memory(uint64_t address, void* out, size_t size) noexcept {
  if (size == 0) return true;
  iovec local{out, size};
  iovec remote{reinterpret_cast<void*>(address), size};
  return process_vm_readv(getpid(), &local, 1, &remote, 1, 0) == static_cast<ssize_t>(size);
}

bool crash_module_name(uint64_t address, char* out, size_t size) noexcept {
  static char maps[256 * 1024];
  const int fd = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  size_t length = 0;
  for (ssize_t n; length < sizeof maps - 1 && (n = read(fd, maps + length, sizeof maps - 1 - length)) != 0;) {
    if (n < 0) {
      if (errno == EINTR) continue;
      break;
    }
    length += static_cast<size_t>(n);
  }
  close(fd);
  maps[length] = '\0';
  for (char* line = maps; *line;) {
    char* end = std::strchr(line, '\n');
    if (end) *end = '\0';
    const char* p = line;
    const auto hex = [&p] {
      uint64_t value = 0;
      for (;; ++p) {
        const char c = *p;
        if (c >= '0' && c <= '9') value = value * 16 + static_cast<uint64_t>(c - '0');
        else if (c >= 'a' && c <= 'f') value = value * 16 + static_cast<uint64_t>(c - 'a' + 10);
        else return value;
      }
    };
    const uint64_t start = hex();
    const uint64_t stop = *p == '-' ? (++p, hex()) : 0;
    if (address >= start && address < stop) {
      const char* path = std::strchr(line, '/');
      if (!path) return false;
      const char* slash = std::strrchr(path, '/');
      safe_format(out, size, "%s", slash + 1);
      return true;
    }
    if (!end) break;
    line = end + 1;
  }
  return false;
}

namespace {

Dwfl* AsDwfl(void* p) { return static_cast<Dwfl*>(p); }

void Copy(char* out, size_t size, const char* text) {
  safe_format(out, size, "%s", text ? text : "");
}

const char* BaseName(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash ? slash + 1 : path;
}

// Appends formatted text to a fixed buffer, cut at its end.
struct Text {
  char* m_pBuffer;
  size_t m_nSize;
  size_t m_nLength = 0;
  void Add(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    if (m_nLength + 1 >= m_nSize) return;
    va_list args;
    va_start(args, format);
    m_nLength += safe_vformat(m_pBuffer + m_nLength, m_nSize - m_nLength, format, args);
    va_end(args);
  }
};

// Follows typedefs and qualifiers to the type that has the layout.
bool TypeOf(Dwarf_Die* die, Dwarf_Die* type) {
  Dwarf_Attribute attribute;
  if (!dwarf_attr_integrate(die, DW_AT_type, &attribute) || !dwarf_formref_die(&attribute, type)) return false;
  for (int hops = 0; hops < 16; ++hops) {
    const int tag = dwarf_tag(type);
    if (tag != DW_TAG_typedef && tag != DW_TAG_const_type && tag != DW_TAG_volatile_type &&
        tag != DW_TAG_restrict_type && tag != DW_TAG_atomic_type)
      return true;
    if (!dwarf_attr_integrate(type, DW_AT_type, &attribute) || !dwarf_formref_die(&attribute, type)) return false;
  }
  return true;
}

int BaseOf(Dwarf_Die* type) {
  if (dwarf_tag(type) != DW_TAG_base_type) return CrashSymbols::btNoType;
  Dwarf_Attribute attribute;
  Dwarf_Word encoding = 0;
  if (!dwarf_attr(type, DW_AT_encoding, &attribute) || dwarf_formudata(&attribute, &encoding) != 0)
    return CrashSymbols::btNoType;
  switch (encoding) {
    case DW_ATE_float: return CrashSymbols::btFloat;
    case DW_ATE_signed_char:
    case DW_ATE_unsigned_char: return CrashSymbols::btChar;
    case DW_ATE_UTF: return CrashSymbols::btWChar;
    case DW_ATE_boolean: return CrashSymbols::btBool;
    case DW_ATE_unsigned: return CrashSymbols::btUInt;
    default: return CrashSymbols::btInt;
  }
}

// The base type of a type, failing that of the type it refers to.
int GetBasicType(Dwarf_Die* type) {
  const int own = BaseOf(type);
  if (own != CrashSymbols::btNoType) return own;
  Dwarf_Die inner;
  return TypeOf(type, &inner) ? BaseOf(&inner) : CrashSymbols::btNoType;
}

uint64_t SizeOf(Dwarf_Die* type) {
  Dwarf_Word size = 0;
  if (dwarf_aggregate_size(type, &size) == 0) return size;
  Dwarf_Attribute attribute;
  if (dwarf_attr(type, DW_AT_byte_size, &attribute) && dwarf_formudata(&attribute, &size) == 0) return size;
  const int tag = dwarf_tag(type);
  return (tag == DW_TAG_pointer_type || tag == DW_TAG_reference_type || tag == DW_TAG_rvalue_reference_type)
             ? sizeof(void*)
             : 0;
}

// The value at an address by its length and base type; false when its
// memory can't be read. Pointers are 8 bytes here, so a pointer to char is
// shown as a string at length 8.
bool FormatOutputValue(Text& out, int basicType, uint64_t length, uint64_t address) {
  union {
    uint8_t b[8];
    uint16_t h;
    uint32_t w;
    uint64_t q;
    float f;
    double d;
  } value{};
  if (length == 1 || length == 2 || length == 4 || length == 8) {
    if (!crash_read_memory(address, value.b, length)) return false;
  }
  switch (length) {
    case 1: out.Add(" = %X (1 byte)", value.b[0]); break;
    case 2: out.Add(" = %X (2 bytes)", value.h); break;
    case 4:
      if (basicType == CrashSymbols::btFloat) out.Add(" = %f (float)", static_cast<double>(value.f));
      else out.Add(" = %X", value.w);
      break;
    case 8:
      if (basicType == CrashSymbols::btFloat) {
        out.Add(" = %f (double)", value.d);
      } else if (basicType == CrashSymbols::btChar) {
        char text[33];
        if (crash_read_memory(value.q, text, 32)) {
          text[32] = '\0';
          out.Add(" = \"%.31s\"", text);
        } else {
          out.Add(" = 0x%llX", static_cast<unsigned long long>(value.q));
        }
      } else {
        out.Add(" = %llX", static_cast<unsigned long long>(value.q));
      }
      break;
    default: break;
  }
  return true;
}

// A composite's name and members, one level deep; handled tells whether the
// type was a composite.
bool DumpTypeIndex(Text& out, Dwarf_Die* type, unsigned level, uint64_t address, bool& handled) {
  handled = false;
  const int tag = dwarf_tag(type);
  const bool composite = tag == DW_TAG_structure_type || tag == DW_TAG_class_type || tag == DW_TAG_union_type;
  if (!composite) return true;
  if (const char* name = dwarf_diename(type)) out.Add(" %s", name);
  Dwarf_Die child;
  if (dwarf_child(type, &child) != 0) return true;
  out.Add("\n");
  ++level;
  unsigned members = 0;
  do {
    if (dwarf_tag(&child) != DW_TAG_member || members >= CrashSymbols::kMaxChildren) continue;
    Dwarf_Attribute attribute;
    Dwarf_Word offset = 0;
    // A static member has no offset and no place in the object.
    if (!dwarf_attr(&child, DW_AT_data_member_location, &attribute)) {
      if (tag != DW_TAG_union_type) continue;
    } else if (dwarf_formudata(&attribute, &offset) != 0) {
      continue;
    }
    ++members;
    for (unsigned i = 0; i <= level; ++i) out.Add("\t");
    const char* name = dwarf_diename(&child);
    if (name) out.Add(" %s", name);
    Dwarf_Die memberType;
    if (TypeOf(&child, &memberType) &&
        !FormatOutputValue(out, GetBasicType(&memberType), SizeOf(&memberType), address + offset))
      return false;
    out.Add("\n");
  } while (dwarf_siblingof(&child, &child) == 0);
  handled = true;
  return true;
}

// Registers a DWARF expression may name, by their DWARF numbers on x86-64.
bool Register(const CrashFrame& frame, unsigned number, uint64_t& value) {
  switch (number) {
    case 3: value = frame.rbx; return true;
    case 6: value = frame.rbp; return true;
    case 7: value = frame.sp; return true;
    case 12: value = frame.r12; return true;
    case 13: value = frame.r13; return true;
    case 14: value = frame.r14; return true;
    case 15: value = frame.r15; return true;
    default: return false;
  }
}

enum class Where { kAddress, kRegister, kUnknown };

// Evaluates the simple location forms a compiler gives to variables in
// memory: a fixed address, a register plus offset, the frame base plus offset.
Where Locate(Dwarf_Attribute* attribute, uint64_t pc, const CrashFrame* frame, uint64_t frameBase,
             bool haveFrameBase, uint64_t bias, uint64_t& address) {
  Dwarf_Op* ops = nullptr;
  size_t count = 0;
  if (dwarf_getlocation_addr(attribute, pc, &ops, &count, 1) < 1 || count == 0) return Where::kUnknown;
  const uint8_t atom = ops[0].atom;
  if (atom == DW_OP_addr && count == 1) {
    address = ops[0].number + bias;
    return Where::kAddress;
  }
  if ((atom >= DW_OP_reg0 && atom <= DW_OP_reg31) || atom == DW_OP_regx) return Where::kRegister;
  if (!frame) return Where::kUnknown;
  if (atom == DW_OP_fbreg && count == 1 && haveFrameBase) {
    address = frameBase + static_cast<int64_t>(ops[0].number);
    return Where::kAddress;
  }
  if (atom >= DW_OP_breg0 && atom <= DW_OP_breg31 && count == 1) {
    uint64_t base = 0;
    if (!Register(*frame, atom - DW_OP_breg0, base)) return Where::kUnknown;
    address = base + static_cast<int64_t>(ops[0].number);
    return Where::kAddress;
  }
  if (atom == DW_OP_call_frame_cfa && count == 1 && frame->cfa) {
    address = frame->cfa;
    return Where::kAddress;
  }
  return Where::kUnknown;
}

struct Walker {
  CrashSymbols::Sink sink;
  void* user;
  char* buffer;
};

// One variable as the report shows it: "Parameter ", "Local " or nothing,
// the quoted name, its composite's members or its value.
void Emit(Walker& walker, Dwarf_Die* die, int tag, bool local, uint64_t address) {
  Text out{walker.buffer, CrashSymbols::kSymbolText + 1};
  if (tag == DW_TAG_formal_parameter) out.Add("Parameter ");
  else if (local) out.Add("Local ");
  Dwarf_Attribute attribute;
  const char* name = dwarf_attr_integrate(die, DW_AT_name, &attribute) ? dwarf_formstring(&attribute) : nullptr;
  if (!name) name = "";
  out.Add("'%s'", name);
  Dwarf_Die type;
  if (!TypeOf(die, &type)) {
    walker.sink(walker.user, walker.buffer, name);
    return;
  }
  bool handled = false;
  if (!DumpTypeIndex(out, &type, 0, address, handled) ||
      (!handled && !FormatOutputValue(out, GetBasicType(&type), SizeOf(&type), address))) {
    walker.sink(walker.user, nullptr, name);
    return;
  }
  walker.sink(walker.user, walker.buffer, name);
}

char g_symbolText[CrashSymbols::kSymbolText + 1];

void Globals(Walker& walker, Dwarf_Die* parent, uint64_t bias, unsigned& count) {
  Dwarf_Die child;
  if (dwarf_child(parent, &child) != 0) return;
  do {
    const int tag = dwarf_tag(&child);
    if (tag == DW_TAG_namespace) {
      Globals(walker, &child, bias, count);
      continue;
    }
    if (tag != DW_TAG_variable || count >= CrashSymbols::kMaxGlobals) continue;
    Dwarf_Attribute location;
    uint64_t address = 0;
    if (!dwarf_attr(&child, DW_AT_location, &location) ||
        Locate(&location, 0, nullptr, 0, false, bias, address) != Where::kAddress)
      continue;
    ++count;
    Emit(walker, &child, tag, false, address);
  } while (dwarf_siblingof(&child, &child) == 0);
}

}  // namespace

CrashSymbols::~CrashSymbols() {
  if (m_pDwfl) dwfl_end(AsDwfl(m_pDwfl));
}

bool CrashSymbols::Open() noexcept {
  static char* debugPath = nullptr;
  static const Dwfl_Callbacks callbacks = {dwfl_linux_proc_find_elf, dwfl_standard_find_debuginfo, nullptr,
                                           &debugPath};
  Dwfl* dwfl = dwfl_begin(&callbacks);
  if (!dwfl) return false;
  if (dwfl_linux_proc_report(dwfl, getpid()) != 0 || dwfl_report_end(dwfl, nullptr, nullptr) != 0) {
    dwfl_end(dwfl);
    return false;
  }
  m_pDwfl = dwfl;
  return true;
}

void CrashSymbols::Describe(uint64_t pc, bool caller, Place& out) noexcept {
  std::memset(&out, 0, sizeof out);
  if (!m_pDwfl) return;
  const uint64_t site = caller && pc > 0 ? pc - 1 : pc;
  Dwfl_Module* module = dwfl_addrmodule(AsDwfl(m_pDwfl), site);
  if (!module) return;
  const char* name = dwfl_module_info(module, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  if (name) {
    Copy(out.m_szModule, sizeof out.m_szModule, BaseName(name));
    out.m_bModule = true;
  }
  GElf_Off offset = 0;
  GElf_Sym symbol;
  const char* raw = dwfl_module_addrinfo(module, site, &offset, &symbol, nullptr, nullptr, nullptr);
  if (raw) {
    int status = -1;
    char* plain = abi::__cxa_demangle(raw, nullptr, nullptr, &status);
    Copy(out.m_szSymbol, sizeof out.m_szSymbol, status == 0 && plain ? plain : raw);
    std::free(plain);
    // A versioned name ("f@@VERSION_1") reads as the plain one.
    if (char* at = std::strchr(out.m_szSymbol, '@')) *at = '\0';
    out.m_nDisplacement = offset + (site != pc ? 1 : 0);
    out.m_bSymbol = true;
  }
  if (Dwfl_Line* line = dwfl_module_getsrc(module, site)) {
    int number = 0;
    const char* file = dwfl_lineinfo(line, nullptr, &number, nullptr, nullptr, nullptr);
    if (file) {
      Copy(out.m_szFile, sizeof out.m_szFile, file);
      out.m_nLine = static_cast<unsigned>(number);
      out.m_bLine = true;
    }
  }
}

void CrashSymbols::EnumerateLocals(const CrashFrame& frame, bool caller, Sink sink, void* user) noexcept {
  if (!m_pDwfl || !sink) return;
  const uint64_t site = caller && frame.pc > 0 ? frame.pc - 1 : frame.pc;
  Dwfl_Module* module = dwfl_addrmodule(AsDwfl(m_pDwfl), site);
  if (!module) return;
  Dwarf_Addr bias = 0;
  Dwarf_Die* unit = dwfl_module_addrdie(module, site, &bias);
  if (!unit) return;
  Dwarf_Die* scopes = nullptr;
  const int count = dwarf_getscopes(unit, site - bias, &scopes);
  if (count <= 0) return;
  Walker walker{sink, user, g_symbolText};
  // The frame base of the function, usually the frame address itself.
  uint64_t frameBase = 0;
  bool haveFrameBase = false;
  for (int i = 0; i < count; ++i) {
    if (dwarf_tag(&scopes[i]) != DW_TAG_subprogram) continue;
    Dwarf_Attribute attribute;
    if (dwarf_attr_integrate(&scopes[i], DW_AT_frame_base, &attribute))
      haveFrameBase = Locate(&attribute, site - bias, &frame, 0, false, bias, frameBase) == Where::kAddress;
    break;
  }
  // Outermost scope first, so parameters come before the locals of inner blocks.
  int outer = 0;
  while (outer < count && dwarf_tag(&scopes[outer]) != DW_TAG_subprogram) ++outer;
  // No function around the address: nothing is local to it (the unit's own
  // variables are globals).
  if (outer == count) outer = -1;
  for (int i = outer; i >= 0; --i) {
    Dwarf_Die child;
    if (dwarf_child(&scopes[i], &child) != 0) continue;
    do {
      const int tag = dwarf_tag(&child);
      if (tag != DW_TAG_formal_parameter && tag != DW_TAG_variable) continue;
      Dwarf_Attribute location;
      if (!dwarf_attr_integrate(&child, DW_AT_location, &location)) continue;
      uint64_t address = 0;
      if (Locate(&location, site - bias, &frame, frameBase, haveFrameBase, bias, address) != Where::kAddress)
        continue;
      Emit(walker, &child, tag, true, address);
    } while (dwarf_siblingof(&child, &child) == 0);
  }
  std::free(scopes);
}

void CrashSymbols::EnumerateGlobals(Sink sink, void* user) noexcept {
  if (!m_pDwfl || !sink) return;
  char exe[1024];
  const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  if (n <= 0) return;
  exe[n] = '\0';
  struct Find {
    const char* path;
    Dwfl_Module* module;
  } find{exe, nullptr};
  dwfl_getmodules(
      AsDwfl(m_pDwfl),
      [](Dwfl_Module* module, void**, const char* name, Dwarf_Addr, void* arg) -> int {
        Find* f = static_cast<Find*>(arg);
        if (name && std::strcmp(name, f->path) == 0) {
          f->module = module;
          return DWARF_CB_ABORT;
        }
        return DWARF_CB_OK;
      },
      &find, 0);
  if (!find.module) return;
  Walker walker{sink, user, g_symbolText};
  unsigned count = 0;
  Dwarf_Addr bias = 0;
  for (Dwarf_Die* unit = dwfl_module_nextcu(find.module, nullptr, &bias); unit;
       unit = dwfl_module_nextcu(find.module, unit, &bias))
    Globals(walker, unit, bias, count);
}

}  // namespace plinth::platform
