load box

@test "reports an outage" {
  box send weather report --expect '^all is well$'
  box wan down
  box send weather report --expect '^no internet$'
  box wan up
  box send weather report --expect '^all is well$'
}
