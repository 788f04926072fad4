* CMOS inverter chain with parameters
*#HSPICE
.param vdd=1.8 wn=0.5u wp='2*wn'
.global vdd gnd
vsupply vdd gnd {vdd}
vin in gnd pulse(0 {vdd} 0 50p 50p 1n 2n) $ input clock
.subckt inv a y w={wn}
mn y a gnd gnd nch w={w} l=0.18u
mp y a vdd vdd pch w={2*{w}} l=0.18u $ twice as wide
.ends inv
x1 in n1 inv w=wn
x2 n1 n2 inv
x3 n2 out inv w='wp;2'
cload out gnd 10f
.model nch nmos level=49
+ vth0=0.4 tox=4e-9
.model pch pmos level=49
+ vth0=-0.4
$ a dollar comment line
.tran 10p 10n
.option post
.end
