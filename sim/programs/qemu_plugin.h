#pragma once

#include <cstddef>
#include <cstdint>

/// What a plug-in of QEMU's translator uses of its interface (version 0 on, QEMU 4.2), declared here because
/// Debian's packages bring no header for it. The emulator has the functions, and finds the plug-in's own two
/// names.
extern "C" {

using qemu_plugin_id_t = std::uint64_t;
using qemu_plugin_meminfo_t = std::uint32_t;
struct qemu_info_t;
struct qemu_plugin_tb;
struct qemu_plugin_insn;
struct qemu_plugin_hwaddr;

using qemu_plugin_translated_t = void (*)(qemu_plugin_id_t, qemu_plugin_tb*);
using qemu_plugin_accessed_t = void (*)(unsigned processor, qemu_plugin_meminfo_t, std::uint64_t address,
                                        void*);
enum class qemu_plugin_registers_e : int { none };
enum class qemu_plugin_direction_e : int { load = 1, store, both };

/// A block of instructions has been translated, and will run any number of times.
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t, qemu_plugin_translated_t);
std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb*);
qemu_plugin_insn* qemu_plugin_tb_get_insn(const qemu_plugin_tb*, std::size_t);
std::uint64_t qemu_plugin_insn_vaddr(const qemu_plugin_insn*);

/// Calls after each access of an instruction to memory, before the next instruction.
void qemu_plugin_register_vcpu_mem_cb(qemu_plugin_insn*, qemu_plugin_accessed_t, qemu_plugin_registers_e,
                                      qemu_plugin_direction_e, void*);
unsigned qemu_plugin_mem_size_shift(qemu_plugin_meminfo_t);
bool qemu_plugin_mem_is_store(qemu_plugin_meminfo_t);
/// Where the access went; valid until the next one.
qemu_plugin_hwaddr* qemu_plugin_get_hwaddr(qemu_plugin_meminfo_t, std::uint64_t address);
bool qemu_plugin_hwaddr_is_io(const qemu_plugin_hwaddr*);
/// Of memory: its place among all memory of the machine.
std::uint64_t qemu_plugin_hwaddr_phys_addr(const qemu_plugin_hwaddr*);

[[gnu::visibility("default")]] extern int qemu_plugin_version;
[[gnu::visibility("default")]] int qemu_plugin_install(qemu_plugin_id_t, const qemu_info_t*, int argc,
                                                       char** argv);
}
