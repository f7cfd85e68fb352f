load box

@test "the greeter answers" {
  box send greeter '100% sure?' --expect '^Good day! You said: 100% sure\?$'
  box expect output greeter 'got "100% sure\?" \(10 bytes\)'
}

@test "the watcher hears all three events" {
  box expect output watcher 'and listen$'
  box wan down
  box disk add sdx9
  box event home 512 'somebody came home'
  box expect output watcher 'WAN event, subevent 257: down'
  box expect output watcher 'disk event, subevent 0: sdx9'
  box expect output watcher 'home event, subevent 512: somebody came home'
}

@test "the counter's handlers keep their state" {
  box expect output counter 'I count'
  box send counter hello --expect '^hello, number 1$'
  box send counter hello --expect '^hello, number 2$'
  box wan down
  box expect output counter 'an outage'          # a message may overtake an event
  box send counter report --expect '^1 different messages, 1 outages, the internet is away$'
}

@test "both are served again by a new broker" {
  box expect output watcher 'and listen$'        # a start without a broker is refused
  box expect output counter 'I count'
  box fault bus '*' end
  box fault bus clear
  box expect object greeter --within 5s
  box send greeter again --expect 'You said: again'
}
