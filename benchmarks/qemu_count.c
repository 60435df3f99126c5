/* A plugin for qemu's emulators that counts the guest's instructions: -plugin .../libqemu_count.so,to=FILE
 *
 * The count is eight bytes in FILE, as the machine has them, and right whenever the guest stands still: whoever looks
 * twice has what lies between. Debian ships neither qemu's own counting plugin nor the header; what is used of the
 * interface is declared here as qemu 7.2 documents it. */
#include <fcntl.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

struct qemu_plugin_tb;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };
typedef void (*translated)(uint64_t id, struct qemu_plugin_tb *block);

extern size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *block);
extern void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id, translated callback);
extern void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *block, enum qemu_plugin_op op, void *to,
                                                     uint64_t add);

int qemu_plugin_version = 1;
int qemu_plugin_install(uint64_t id, const void *info, int count, char **arguments);

static void *executed;

static void count_block(uint64_t id, struct qemu_plugin_tb *block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, executed,
                                             qemu_plugin_tb_n_insns(block));
}

int qemu_plugin_install(uint64_t id, const void *info, int count, char **arguments) {
    (void)info;
    if (count != 1 || strncmp(arguments[0], "to=", 3) != 0) return 1;
    const int file = open(arguments[0] + 3, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof(uint64_t)) != 0) return 1;
    executed = mmap(NULL, sizeof(uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (executed == MAP_FAILED) return 1;
    qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
    return 0;
}
