/* list.h: circular doubly linked lists whose nodes are members of the listed structures. */
#ifndef HOSTBUS_LIBUBOX_LIST_H
#define HOSTBUS_LIBUBOX_LIST_H

#include <stdbool.h>
#include <stddef.h>

/* The structure of the given type whose member `ptr` points to. */
#ifndef container_of
#define container_of(ptr, type, member) ((type*)((char*)(ptr)-offsetof(type, member)))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A list's head, or a node in one. An empty list and a node in no list point to themselves. */
struct list_head {
  struct list_head* next;
  struct list_head* prev;
};

static inline void INIT_LIST_HEAD(struct list_head* head) {
  head->next = head->prev = head;
}

static inline bool list_empty(const struct list_head* head) {
  return head->next == head;
}

/* Puts `node` first in the list. */
static inline void list_add(struct list_head* node, struct list_head* head) {
  node->prev = head;
  node->next = head->next;
  head->next->prev = node;
  head->next = node;
}

/* Puts `node` last in the list. */
static inline void list_add_tail(struct list_head* node, struct list_head* head) {
  list_add(node, head->prev);
}

/* Takes `node` out of its list and clears its pointers. */
static inline void list_del(struct list_head* node) {
  node->next->prev = node->prev;
  node->prev->next = node->next;
  node->next = node->prev = NULL;
}

/* Takes `node` out of its list and makes it a node in none; harmless on such a node. */
static inline void list_del_init(struct list_head* node) {
  node->next->prev = node->prev;
  node->prev->next = node->next;
  INIT_LIST_HEAD(node);
}

#ifdef __cplusplus
}
#endif

#define list_entry(ptr, type, member) container_of(ptr, type, member)
#define list_first_entry(head, type, member) list_entry((head)->next, type, member)

/* Heads of loops over the structures in a list; with _safe the body may take `pos` out of it. */
#define list_for_each_entry(pos, head, member)                                           \
  for (pos = list_entry((head)->next, __typeof__(*pos), member); &pos->member != (head); \
       pos = list_entry(pos->member.next, __typeof__(*pos), member))

#define list_for_each_entry_safe(pos, following, head, member)            \
  for (pos = list_entry((head)->next, __typeof__(*pos), member),          \
      following = list_entry(pos->member.next, __typeof__(*pos), member); \
       &pos->member != (head);                                            \
       pos = following, following = list_entry(following->member.next, __typeof__(*pos), member))

#endif
