# install rules: see below
