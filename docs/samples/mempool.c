#include <stdio.h>
#include <zel/zel.h>

static int say(void* data) {
  printf("the end of %s\n", (const char*)data);
  return 0;
}

int main(void) {
  mem_pool* pool = mem_create_pool(4096, NULL, 0);
  mem_pool_cleanup* end;
  char* name;
  if (pool == NULL) return 1;
  name = mem_pool_dup_str(pool, "a pool");
  end = mem_pool_cleanup_add(pool, 0);
  if (name != NULL && end != NULL) {
    end->handler = say;
    end->data = name;
  }
  printf("%s\n", mem_palloc(pool, 100000) != NULL ? "a large piece, too" : "no memory");
  mem_destroy_pool(pool);
  return 0;
}
