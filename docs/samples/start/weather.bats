load box

@test "reports an outage" {
  box send weather report --expect '^all is well$'
  box wan down
  box expect output weather '^the WAN link is down$'
  box send weather report --expect '^no internet$'
  box wan up
  box expect output weather '^the WAN link is up$'
  box send weather report --expect '^all is well$'
}
