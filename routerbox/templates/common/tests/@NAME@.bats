# Each test has a router of its own; `routerbox test` runs them, `routerbox expect --help` has what can be expected.
load box

@test "answers every message" {
  box send @NAME@ 'Is anybody there?' --expect '^17 bytes, thank you$'
  box expect output @NAME@ 'asked: Is anybody there\?'
}

@test "is served again after a restart of the bus" {
  box restart bus
  box expect object @NAME@ --within 5s
  box send @NAME@ hello --expect '^5 bytes'
}
