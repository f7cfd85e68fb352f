/* avl.h: the trees that are members of the bus structures. Applications zero them and leave them alone;
 * here the nodes are kept in the tree's list only, since a process has a handful of objects. */
#ifndef HOSTBUS_LIBUBOX_AVL_H
#define HOSTBUS_LIBUBOX_AVL_H

#include <stdbool.h>

#include "list.h"

#ifdef __cplusplus
extern "C" {
#endif

struct avl_node {
  struct list_head list;
  struct avl_node *parent, *left, *right;
  const void* key;
  signed char balance;
  bool leader;
};

typedef int (*avl_tree_comp)(const void* k1, const void* k2, void* ptr);

struct avl_tree {
  struct list_head list_head;
  struct avl_node* root;
  unsigned int count;
  bool allow_dups;
  avl_tree_comp comp;
  void* cmp_ptr;
};

#ifdef __cplusplus
}
#endif

#endif
