// A plugin of QEMU's user mode: prints the instructions that were run between each write to file 1000 and the next. Of
// the plugin interface (version 1), whose header is not in every distribution, this declares what it uses.
#include <inttypes.h>
#include <stdint.h>
#include <stdio.h>

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
typedef void (*tb_callback)(qemu_plugin_id_t, struct qemu_plugin_tb*);
typedef void (*syscall_callback)(qemu_plugin_id_t, unsigned, int64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t,
                                 uint64_t, uint64_t, uint64_t);
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t, tb_callback);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb*, int operation, void* counter, uint64_t add);
void qemu_plugin_register_vcpu_syscall_cb(qemu_plugin_id_t, syscall_callback);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb*);

#define EXPORTED __attribute__((visibility("default")))
EXPORTED int qemu_plugin_version = 1;

static uint64_t run, run_at_mark;

// Every piece of code that QEMU translates adds its instructions when it runs.
static void translated(qemu_plugin_id_t id, struct qemu_plugin_tb* tb) {
  (void)id;
  qemu_plugin_register_vcpu_tb_exec_inline(tb, 0, &run, qemu_plugin_tb_n_insns(tb));
}

static void called_system(qemu_plugin_id_t id, unsigned vcpu, int64_t number, uint64_t file, uint64_t a2, uint64_t a3,
                          uint64_t a4, uint64_t a5, uint64_t a6, uint64_t a7, uint64_t a8) {
  (void)id, (void)vcpu, (void)number, (void)a2, (void)a3, (void)a4, (void)a5, (void)a6, (void)a7, (void)a8;
  if (file != 1000) return;
  fprintf(stderr, "%" PRIu64 "\n", run - run_at_mark);
  run_at_mark = run;
}

EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const void* info, int argc, char** argv) {
  (void)info, (void)argc, (void)argv;
  qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
  qemu_plugin_register_vcpu_syscall_cb(id, called_system);
  return 0;
}
