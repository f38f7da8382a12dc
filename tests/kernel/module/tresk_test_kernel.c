// SPDX-License-Identifier: GPL-2.0-or-later
//
// The framework's side of the kernel channel, for tests in a virtual machine: it listens where the
// framework's module would, keeps every datagram as it came and answers as its parameters say. It protects
// nothing.
//
// /sys/kernel/debug/tresk_test_kernel/messages has one line for each datagram, in the order of their coming:
//
//     PROTOCOL PORT HEX     its protocol, the sender's port, all its bytes
//
// Parameters may be changed while it is loaded (/sys/module/tresk_test_kernel/parameters); each datagram is
// answered as they are when it comes.
#include <linux/atomic.h>
#include <linux/debugfs.h>
#include <linux/list.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/netlink.h>
#include <linux/seq_file.h>
#include <linux/skbuff.h>
#include <linux/slab.h>
#include <linux/wait.h>
#include <linux/workqueue.h>
#include <net/net_namespace.h>
#include <net/netlink.h>
#include <net/sock.h>

MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("Test double of the tresk framework's kernel module");

#define MOST_PROTOCOLS 2
#define HEADER_BYTES sizeof(struct nlmsghdr)
#define PAYLOAD_BYTES 1000
#define MESSAGE_BYTES (HEADER_BYTES + PAYLOAD_BYTES)
#define MOST_ANSWER_BYTES 8192

static int protocols[MOST_PROTOCOLS];
static int protocol_count;
module_param_array_named(protocol, protocols, int, &protocol_count, 0444);
MODULE_PARM_DESC(protocol, "netlink protocols to listen on, at most two");

static char answer[PAYLOAD_BYTES + 2] = "succeeded";
module_param_string(answer, answer, sizeof(answer), 0644);
MODULE_PARM_DESC(answer, "text of the answers");

static bool name_port;
module_param(name_port, bool, 0644);
MODULE_PARM_DESC(name_port, "the sender's port is added to the text");

static bool fill;
module_param(fill, bool, 0644);
MODULE_PARM_DESC(fill, "every byte behind the text and its NUL is an x, not a zero");

static int error = 1;
module_param(error, int, 0644);
MODULE_PARM_DESC(error, "if not positive: answer netlink's own error message with this code");

static uint answer_bytes = MESSAGE_BYTES;
module_param(answer_bytes, uint, 0644);
MODULE_PARM_DESC(answer_bytes, "size of the answers, header included");

static uint delay_ms;
module_param(delay_ms, uint, 0644);
MODULE_PARM_DESC(delay_ms, "milliseconds until an answer is sent");

static bool silent;
module_param(silent, bool, 0644);
MODULE_PARM_DESC(silent, "do not answer");

struct message {
    struct list_head link;
    int protocol;
    u32 port;
    u32 length;
    u8 bytes[];
};

/* An answer that waits for its time. */
struct late_answer {
    struct delayed_work work;
    struct sock *socket;
    struct sk_buff *datagram;
    u32 port;
};

static struct sock *sockets[MOST_PROTOCOLS];
static struct dentry *folder;
static struct workqueue_struct *late_answers;
static atomic_t waiting_answers = ATOMIC_INIT(0);
static DECLARE_WAIT_QUEUE_HEAD(no_answer_waits);
static LIST_HEAD(messages);
static DEFINE_MUTEX(messages_lock);

static void record(const struct sk_buff *datagram, int protocol)
{
    struct message *message = kmalloc(struct_size(message, bytes, datagram->len), GFP_KERNEL);

    if (!message)
        return; /* no memory: the test misses the message */
    message->protocol = protocol;
    message->port = NETLINK_CB(datagram).portid;
    message->length = datagram->len;
    skb_copy_bits(datagram, 0, message->bytes, datagram->len);
    mutex_lock(&messages_lock);
    list_add_tail(&message->link, &messages);
    mutex_unlock(&messages_lock);
}

static int messages_show(struct seq_file *file, void *unused)
{
    const struct message *message;
    u32 i;

    mutex_lock(&messages_lock);
    list_for_each_entry (message, &messages, link) {
        seq_printf(file, "%d %u ", message->protocol, message->port);
        for (i = 0; i < message->length; i++)
            seq_printf(file, "%02x", message->bytes[i]);
        seq_putc(file, '\n');
    }
    mutex_unlock(&messages_lock);
    return 0;
}

DEFINE_SHOW_ATTRIBUTE(messages);

/* The text, the port if wanted, and a NUL where the payload has room for it. */
static void write_text(char *payload, u32 port)
{
    char text[PAYLOAD_BYTES + 16];
    int length = scnprintf(text, sizeof(text), "%s", answer);

    if (name_port)
        length += scnprintf(text + length, sizeof(text) - length, "%u", port);
    memcpy(payload, text, min(length + 1, PAYLOAD_BYTES));
}

/* The form in which the kernel itself refuses a netlink message: a code and the header that it is about. */
static void write_error(struct nlmsghdr *header, const struct sk_buff *question)
{
    struct nlmsgerr *refusal = nlmsg_data(header);

    header->nlmsg_type = NLMSG_ERROR;
    refusal->error = error;
    skb_copy_bits(question, 0, &refusal->msg, min_t(size_t, question->len, sizeof(refusal->msg)));
}

/* A datagram of the wanted size, cut from a whole message or longer than one. */
static struct sk_buff *make_answer(const struct sk_buff *question)
{
    const size_t size = min_t(size_t, answer_bytes, MOST_ANSWER_BYTES);
    const size_t room = max_t(size_t, size, MESSAGE_BYTES);
    struct sk_buff *datagram = alloc_skb(room, GFP_KERNEL);
    struct nlmsghdr *header;

    if (!datagram)
        return NULL;
    header = skb_put_zero(datagram, room);
    header->nlmsg_len = room;
    if (fill)
        memset(nlmsg_data(header), 'x', room - HEADER_BYTES);
    if (error <= 0)
        write_error(header, question);
    else
        write_text(nlmsg_data(header), NETLINK_CB(question).portid);
    skb_trim(datagram, size);
    return datagram;
}

/* Takes @datagram. A sender that does not wait any longer is no failure. */
static void send(struct sock *socket, struct sk_buff *datagram, u32 port)
{
    netlink_unicast(socket, datagram, port, MSG_DONTWAIT);
}

static void send_late(struct work_struct *work)
{
    struct late_answer *late = container_of(to_delayed_work(work), struct late_answer, work);

    send(late->socket, late->datagram, late->port);
    kfree(late);
    if (atomic_dec_and_test(&waiting_answers))
        wake_up(&no_answer_waits);
}

/* Takes @datagram. */
static void send_later(struct sock *socket, struct sk_buff *datagram, u32 port)
{
    struct late_answer *late = kmalloc(sizeof(*late), GFP_KERNEL);

    if (!late) {
        kfree_skb(datagram);
        return;
    }
    late->socket = socket;
    late->datagram = datagram;
    late->port = port;
    INIT_DELAYED_WORK(&late->work, send_late);
    atomic_inc(&waiting_answers);
    queue_delayed_work(late_answers, &late->work, msecs_to_jiffies(delay_ms));
}

static void reply(struct sock *socket, const struct sk_buff *question)
{
    struct sk_buff *datagram = silent ? NULL : make_answer(question);

    if (!datagram)
        return;
    if (delay_ms)
        send_later(socket, datagram, NETLINK_CB(question).portid);
    else
        send(socket, datagram, NETLINK_CB(question).portid);
}

/* Runs in the sender's context, also in that of many at once. The datagram stays the caller's. */
static void receive(struct sk_buff *question)
{
    struct sock *socket = question->sk;

    record(question, socket->sk_protocol);
    kernel_param_lock(THIS_MODULE);
    reply(socket, question);
    kernel_param_unlock(THIS_MODULE);
}

static void forget_messages(void)
{
    struct message *message, *next;

    list_for_each_entry_safe (message, next, &messages, link) {
        kfree(message);
    }
}

/* The module stays until the last late answer is sent, to whom it may concern. */
static void tear_down(void)
{
    int i;

    if (late_answers) {
        wait_event(no_answer_waits, atomic_read(&waiting_answers) == 0);
        destroy_workqueue(late_answers);
    }
    for (i = 0; i < protocol_count; i++)
        if (sockets[i])
            netlink_kernel_release(sockets[i]);
    debugfs_remove(folder);
    forget_messages();
}

static int listen(void)
{
    struct netlink_kernel_cfg configuration = {.input = receive};
    int i;

    for (i = 0; i < protocol_count; i++) {
        sockets[i] = netlink_kernel_create(&init_net, protocols[i], &configuration);
        if (!sockets[i])
            return -EADDRINUSE;
    }
    return 0;
}

static int __init start(void)
{
    int result;

    late_answers = alloc_workqueue("tresk_test_kernel", 0, 0);
    if (!late_answers)
        return -ENOMEM;
    folder = debugfs_create_dir("tresk_test_kernel", NULL);
    debugfs_create_file("messages", 0400, folder, NULL, &messages_fops);
    result = listen();
    if (result)
        tear_down();
    return result;
}

module_init(start);
module_exit(tear_down);
