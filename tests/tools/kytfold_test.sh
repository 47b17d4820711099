echo ok
